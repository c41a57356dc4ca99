// SPDX-License-Identifier: Apache-2.0
// tq_gateway behind a real broker, which each test starts for itself on a free port, with the broker's
// own clients as the platform.
#include <memory>
#include <regex>

#include "gateway_runner.h"

namespace {

std::string Scene(int seq) { return R"({"model":"ExecManualScene","seq":)" + std::to_string(seq) + R"(,"body":{"ruleId":"42"}})"; }

class Mqtt : public testing::Test {
protected:
    void SetUp() override {
        if (TQ_SKIP_MQTT) {
            GTEST_SKIP() << "this build for another architecture has no libmosquitto, so no --mqtt";
        }
        Must("which mosquitto mosquitto_pub openssl # install the packages mosquitto, mosquitto-clients and openssl");
    }

    /// Starts the broker, again with the first settings.
    void StartBroker(const std::string &settings = "allow_anonymous true") {
        if (!broker_) {
            std::ofstream(folder_.Path("conf")) << "user root\nlistener " << port_ << " 127.0.0.1\n" << settings << '\n';
        }
        broker_ = std::make_unique<Program>("mosquitto -c " + folder_.Path("conf"));
        broker_->Await("running");
    }

    /// A gateway of the broker.
    std::unique_ptr<Program> Gateway(const std::string &serial, const std::string &more = "--json") const {
        return std::make_unique<Program>(TQ_GATEWAY " --mqtt 127.0.0.1:" + std::to_string(port_) + " --serial " + serial + ' ' + more);
    }

    /// A platform that sees all that is on the broker, as "topic payload".
    std::unique_ptr<Program> Watch(const std::string &more = "") const {
        auto watch = std::make_unique<Program>("stdbuf -oL mosquitto_sub -d -v -q 1 -t 'tq/#' " + Address() + more);
        watch->Await("Subscribed");
        return watch;
    }

    void Publish(const std::string &serial, const std::string &payload, const std::string &more = "-s") const {
        Must("mosquitto_pub -q 1 -t tq/" + serial + "/down " + Address() + more, payload);
    }

    static void Must(const std::string &command, const std::string &input = "") { ASSERT_EQ(RunProgram(command, input).code, 0) << command; }

    std::string Address() const { return "-h 127.0.0.1 -p " + std::to_string(port_) + ' '; }

    /// What was seen on a topic, in order.
    static Lines On(const std::string &topic, const Program &watch) {
        Lines lines;
        for (const std::string &line : Split(watch.Printed())) {
            if (line.rfind(topic + ' ', 0) == 0) {
                lines.push_back(line.substr(topic.size() + 1));
            }
        }
        return lines;
    }

    const Folder folder_;
    const int port_ = 20000 + getpid() % 10000; // each test is a process, and below are no ports that clients get
    std::unique_ptr<Program> broker_;
};

TEST_F(Mqtt, AnswersWhateverArrivesUntilItIsStopped) {
    StartBroker();
    const auto watch = Watch();
    const std::string record = folder_.Path("session.jsonl");
    const auto gateway = Gateway("A", "--record " + record);
    watch->Await("tq/A/status online");

    Publish("A", Scene(1) + "\r\n\n# a comment\n" + Scene(2));
    Publish("A", "", "-n");
    Publish("A", std::string("\0\xff{", 3));
    Publish("A", std::string((1 << 20) + 1, 'x'));
    Publish("A", '"' + std::string((1 << 20) - 2, 'x') + '"');
    Publish("A", R"({"status_reset":99999})");
    watch->Await("99999 is not registered");
    EXPECT_EQ(gateway->End(SIGINT), 0);
    watch->Await("tq/A/status offline");

    const std::string up = Joined(On("tq/A/up", *watch));
    const std::regex expected(R"(.*MANUAL_SCENE.*\n.*"seq":1,.*\n[{]"result":0[}]\n.*MANUAL_SCENE.*\n.*"seq":2,.*\n[{]"result":0[}]\n)"
                              R"(.*not JSON.*\n.*a payload of 1048577 bytes.*\n.*expected an object.*\n.*99999.*\n)");
    EXPECT_TRUE(std::regex_match(up, expected)) << up;
    EXPECT_EQ(RunGateway("replay " + record, "").code, 0);
}

TEST_F(Mqtt, StatusIsKeptAndTellsOfADeath) {
    StartBroker();
    const auto gateway = Gateway("A");
    const auto watch = Watch();
    watch->Await("tq/A/status online");
    gateway->End(SIGKILL);
    watch->Await("tq/A/status offline");
    Watch()->Await("tq/A/status offline");
}

TEST_F(Mqtt, SurvivesTheBroker) {
    StartBroker();
    const std::string record = folder_.Path("session.jsonl");
    const auto gateway = Gateway("A", "--text --record " + record);
    gateway->Await("event online");
    broker_->End(SIGKILL);
    gateway->Await("event break");
    StartBroker();
    gateway->Await("event online");
    const auto watch = Watch();
    watch->Await("tq/A/status online");
    Publish("A", Scene(3));
    watch->Await(R"("seq":3,)");
    broker_->End(SIGTERM);
    gateway->Await("event break");
    EXPECT_EQ(gateway->End(SIGTERM), 0) << "ends while there is no link";

    Lines events;
    for (const std::string &line : Split(Contents(record))) {
        if (line.rfind(R"({"event")", 0) == 0) {
            events.push_back(line);
        }
    }
    const std::string up = R"({"event":{"kernel_event":"online"}})";
    const std::string down = R"({"event":{"kernel_event":"break"}})";
    EXPECT_EQ(events, (Lines{up, down, up, down}));
    EXPECT_EQ(RunGateway("replay " + record, "").code, 0);
}

TEST_F(Mqtt, WaitsForItsPasswordAndKeepsTheLatestLines) {
    const std::string passwords = folder_.Path("passwords");
    Must("mosquitto_passwd -b -c " + passwords + " cloud c");
    Must("mosquitto_passwd -b " + passwords + " hub old");
    std::ofstream(folder_.Path("secret")) << "new\n";
    StartBroker("password_file " + passwords);
    const auto watch = Watch("-u cloud -P c");
    const auto gateway = Gateway("A", "--user hub --password-file " + folder_.Path("secret") + " --mqtt-queue 3 --status-interval 0.01");
    Lines shown; // the first pass reports the settings
    for (int seq = 0; seq < 5; ++seq) {
        shown.push_back(gateway->Await(R"("command":12382,"seq":)" + std::to_string(seq)));
    }
    if (!Contains(gateway->Printed(), "not authorised")) {
        gateway->Await("not authorised");
    }

    Must("mosquitto_passwd -b " + passwords + " hub new");
    broker_->Reload();
    watch->Await("tq/A/status online");
    gateway->Await("dropped 2 lines");
    Publish("A", R"({"status_reset":99999})", "-s -u cloud -P c");
    watch->Await("99999 is not registered");
    Lines up = On("tq/A/up", *watch);
    ASSERT_GT(up.size(), 4U);
    up.resize(4); // then those that the arriving link causes
    EXPECT_EQ(up, (Lines{R"({"dropped":2})", shown[2], shown[3], shown[4]}));
    EXPECT_EQ(gateway->End(SIGTERM), 0);
}

TEST_F(Mqtt, GatewaysShareABrokerWithoutCrossing) {
    const std::string serials[] = {"A", "B", "A1"};
    StartBroker();
    const auto watch = Watch();
    std::vector<std::unique_ptr<Program>> gateways;
    for (const std::string &serial : serials) {
        gateways.push_back(Gateway(serial));
        watch->Await("tq/" + serial + "/status online");
    }
    std::string lines;
    for (int seq = 0; seq < 30; ++seq) {
        lines += Scene(seq) + '\n';
    }
    for (const std::string &serial : serials) {
        Publish(serial, lines); // what crosses is answered twice somewhere
    }
    for (std::size_t g = 0; g < gateways.size(); ++g) {
        gateways[g]->Await(R"("seq":29,)");
        gateways[g]->Await(R"({"result":0})");
        EXPECT_EQ(gateways[g]->End(SIGTERM), 0);
        watch->Await("tq/" + serials[g] + "/status offline");
        EXPECT_EQ(On("tq/" + serials[g] + "/up", *watch), RunGateway("--json", lines).lines);
    }
}

TEST_F(Mqtt, TellsWhyThereIsNoLink) {
    std::ofstream(folder_.Path("roles")) << R"({"defaultACLAccess":{"publishClientSend":true,"publishClientReceive":true,"subscribe":false}})";
    StartBroker("allow_anonymous true\nplugin " + RunProgram("ls /usr/lib/*/mosquitto_dynamic_security.so", "").lines.at(0) +
                "\nplugin_opt_config_file " + folder_.Path("roles"));
    Gateway("A")->Await("the broker refuses the subscription to tq/A/down");

    for (const auto &[broker, told] : {std::pair("[127.0.0.9]:7", "cannot connect to 127.0.0.9:7: Connection refused"),
                                       {"127.0.0.9:65535", "cannot connect to 127.0.0.9:65535"},
                                       {"127.0.0.9", "127.0.0.9:1883"}}) {
        Program(TQ_GATEWAY " --serial A --mqtt " + std::string(broker)).Await(told);
    }
}

TEST_F(Mqtt, TrustsTheGivenAuthorityOnly) {
    for (const std::string name : {"mine", "other"}) {
        Must("openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=" + name + " -addext subjectAltName=IP:127.0.0.1 -keyout " +
             folder_.Path(name + ".key") + " -out " + folder_.Path(name + ".pem") + " 2>/dev/null");
    }
    StartBroker("allow_anonymous true\ncertfile " + folder_.Path("mine.pem") + "\nkeyfile " + folder_.Path("mine.key"));
    const auto watch = Watch("--cafile " + folder_.Path("mine.pem"));
    const auto stranger = Gateway("B", "--ca-file " + folder_.Path("other.pem"));
    stranger->Await("cannot connect");
    const auto gateway = Gateway("A", "--ca-file " + folder_.Path("mine.pem"));
    watch->Await("tq/A/status online");
    EXPECT_EQ(stranger->End(SIGTERM), 0);
    EXPECT_EQ(gateway->End(SIGTERM), 0);
    watch->Await("tq/A/status offline");
}

} // namespace
