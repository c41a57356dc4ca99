// SPDX-License-Identifier: Apache-2.0
// tq_gateway behind a real broker, which each test starts for itself on a free port, with the broker's
// own clients as the platform.
#include <algorithm>
#include <memory>
#include <regex>
#include <set>
#include <thread>

#include "gateway_runner.h"

namespace {

std::string Scene(int seq) { return R"({"model":"ExecManualScene","seq":)" + std::to_string(seq) + R"(,"body":{"ruleId":"42"}})"; }

/// Waits until a file is there and holds this.
void AwaitInFile(const std::string &file, const std::string &part) {
    for (int wait = 0; wait < 600; ++wait) {
        if (std::ifstream(file).is_open() && Contains(Contents(file), part)) {
            return;
        }
        usleep(100'000);
    }
    ADD_FAILURE() << "waited in vain for " << part << " in " << file;
}

/// The number at the beginning of what a program said, behind its name; 0 when it said nothing such.
std::size_t NumberSaid(const Program &program, const std::string &words) {
    std::smatch said;
    const std::string &printed = program.Printed();
    return std::regex_search(printed, said, std::regex("tq_gateway: ([0-9]+) lines? " + words)) ? std::stoul(said[1]) : 0;
}

class Mqtt : public testing::Test {
protected:
    void SetUp() override {
        if (TQ_SKIP_MQTT) {
            GTEST_SKIP() << "this build for another architecture has no libmosquitto, so no --mqtt";
        }
        Must("which mosquitto mosquitto_pub openssl # install the packages mosquitto, mosquitto-clients and openssl");
    }

    /// Starts the broker, again with the first settings. Its state stays in the folder where they ask for it.
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

    /// A platform that sees all that gateways send, as "topic payload".
    std::unique_ptr<Program> Watch(const std::string &more = "") const {
        auto watch = std::make_unique<Program>("stdbuf -oL mosquitto_sub -d -v -q 1 -t '#' -T tq/+/down " + Address() + more);
        watch->Await("Subscribed");
        return watch;
    }

    /// The settings that have a broker keep its state over its death.
    std::string Persistent() const { return "allow_anonymous true\npersistence true\npersistence_location " + folder_.Path(""); }

    void Publish(const std::string &serial, const std::string &payload, const std::string &more = "-s") const {
        Must("mosquitto_pub -q 1 -t tq/" + serial + "/down " + Address() + more, payload);
    }

    /// Makes NAME.pem and NAME.key.
    void MakeCertificate(const std::string &name, const std::string &address) const {
        Must("openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=" + name + " -addext subjectAltName=" + address + " -keyout " +
             folder_.Path(name) + ".key -out " + folder_.Path(name) + ".pem 2>/dev/null");
    }

    /// The settings that have a broker use it.
    std::string Serve(const std::string &name) const {
        return "certfile " + folder_.Path(name + ".pem") + "\nkeyfile " + folder_.Path(name + ".key") + '\n';
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
    Publish("A", R"({"status_pass":true})");
    Publish("A", R"({"show":"host"})");
    Publish("A", R"({"status_reset":99999})");
    watch->Await("99999 is not registered");
    EXPECT_EQ(gateway->End(SIGINT), 0);
    watch->Await("tq/A/status offline");

    const auto expect = [&](const std::string &topic, const std::string &lines) {
        const std::string seen = Joined(On("tq/A/" + topic, *watch));
        EXPECT_TRUE(std::regex_match(seen, std::regex(lines))) << topic << ":\n" << seen;
    };
    expect("device", R"((.*MANUAL_SCENE.*\n){2})");
    expect("up", R"(.*"to":"platform".*"seq":1,.*\n.*"to":"platform".*"seq":2,.*\n.*12382.*<DevSerial>A<(.*\n.*12382){4}.*\n)");
    expect("result", R"(([{]"result":0[}]\n){2}.*not JSON.*\n.*a payload of 1048577 bytes.*\n.*expected an object.*\n)"
                     R"([{]"result":null[}]\n[{]"to":"you","host":.*\n[{]"result":null[}]\n.*99999.*\n)");
    expect("log", "");
    EXPECT_EQ(RunGateway("replay " + record, "").code, 0) << "which has the serial in it";
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
    const auto gateway = Gateway("A", "--text --no-time --record " + record);
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

TEST_F(Mqtt, PlaysTheScriptBeforeTheBrokersLines) {
    StartBroker();
    std::ofstream(folder_.Path("script")) << Joined({R"({"hub":{"recv_msg":9},"id":"script"})", R"({"expect":{"result":null}})"});
    const auto watch = Watch();
    const auto gateway = Gateway("A", "--json --time --script " + folder_.Path("script"));
    gateway->Await("connected");
    Publish("A", R"({"model":"ExecManualScene","body":{"ruleId":"42"},"id":"platform"})");
    watch->Await(R"("result":0)");
    EXPECT_EQ(gateway->End(SIGTERM), 0);
    const auto seen = [&](const char *topic) {
        Lines lines = On(std::string("tq/A/") + topic, *watch);
        for (std::string &line : lines) {
            line = std::regex_replace(line, std::regex(R"("time":"[-0-9]{10}T[:0-9]{8}\.[0-9]{3}Z")"), "T");
        }
        return lines;
    };
    EXPECT_EQ(seen("device"), Lines{R"({"to":"device","msg":"MANUAL_SCENE","uiSceneId":42,"id":"platform",T})"});
    EXPECT_EQ(seen("up"), Lines{R"({"to":"platform","model_reply":"ExecManualScene","status":400,"err_code":"9","err_msg":"manage failed!",)"
                                R"("msg_type":"operate_reply","seq":0,"body":{},"id":"platform",T})"});
    EXPECT_EQ(seen("result"), (Lines{R"({"result":null,"id":"script",T})", R"({"result":0,"id":"platform",T})"}));
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
    if (!Contains(gateway->Printed(), "Not authorized")) {
        gateway->Await("Not authorized");
    }

    Must("mosquitto_passwd -b " + passwords + " hub new");
    broker_->Signal(SIGHUP);
    watch->Await("tq/A/status online");
    gateway->Await("dropped 2 lines");
    Publish("A", R"({"status_reset":99999})", "-s -u cloud -P c");
    watch->Await("99999 is not registered");
    Lines up = On("tq/A/up", *watch);
    ASSERT_GT(up.size(), 3U);
    up.resize(3); // then those that the arriving link causes
    EXPECT_EQ(up, (Lines{shown[2], shown[3], shown[4]}));
    EXPECT_EQ(On("tq/A/result", *watch).at(0), R"({"dropped":2})");
    gateway->Signal(SIGTERM);
    gateway->Await("2 lines in all were dropped because the link was down or too slow");
    EXPECT_EQ(gateway->WaitForEnd(), 0);
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
        Lines seen = On("tq/" + serials[g] + "/up", *watch);
        for (const char *topic : {"/device", "/result"}) {
            const Lines more = On("tq/" + serials[g] + topic, *watch);
            seen.insert(seen.end(), more.begin(), more.end());
        }
        Lines expected = RunGateway("--json", lines).lines;
        std::sort(seen.begin(), seen.end());
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(seen, expected);
    }
}

TEST_F(Mqtt, KeepsTheSessionWhileItIsAway) {
    StartBroker();
    const auto watch = Watch();
    int seq = 0;
    for (const auto &[options, kept] : {std::pair("", true), {" --mqtt-3", true}, {" --session 0", false}, {" --mqtt-3 --session 0", false}}) {
        SCOPED_TRACE(options);
        const std::string serial = "S" + std::to_string(seq);
        EXPECT_EQ((Gateway(serial, "--json" + std::string(options))->Await("connected"), 0), 0);
        watch->Await("tq/" + serial + "/status offline");
        Publish(serial, Scene(++seq));
        const auto gateway = Gateway(serial, "--json" + std::string(options));
        watch->Await("tq/" + serial + "/status online");
        Publish(serial, Scene(++seq));
        watch->Await(R"("seq":)" + std::to_string(seq));
        EXPECT_EQ(gateway->End(SIGTERM), 0);
        EXPECT_EQ(On("tq/" + serial + "/device", *watch).size(), kept ? 2U : 1U);
    }
}

// The broker dies with the acknowledgement unread, and remembers that it has sent the command.
TEST_F(Mqtt, TakesNothingTwiceThatItHasAcknowledged) {
    StartBroker(Persistent());
    const std::string record = folder_.Path("session.jsonl");
    const auto gateway = Gateway("A", "--json --no-time --record " + record);
    const auto watch = Watch();
    watch->Await("tq/A/status online");
    Publish("A", Scene(0));
    gateway->Await(R"("seq":0,)");
    watch->Await("tq/A/result"); // it left behind the acknowledgement
    gateway->Signal(SIGSTOP);
    Publish("A", Scene(1));
    for (const std::string turn : {"one", "two"}) { // of the broker, which has surely sent the command then
        Must("mosquitto_pub -q 1 -t turn -m " + turn + ' ' + Address());
        watch->Await("turn " + turn);
    }
    broker_->Signal(SIGUSR1); // saves its state
    AwaitInFile(folder_.Path("mosquitto.db"), "");
    broker_->Signal(SIGSTOP);
    gateway->Signal(SIGCONT);
    gateway->Await(R"("seq":1,)");
    broker_->End(SIGKILL);
    gateway->Await("broke");
    StartBroker();
    gateway->Await("connected");
    Publish("A", Scene(1)); // another one, if the same
    Publish("A", Scene(2));
    gateway->Await(R"("seq":2,)");
    gateway->Signal(SIGTERM);
    gateway->Await("1 payload that the broker delivered again was not taken twice");
    EXPECT_EQ(gateway->WaitForEnd(), 0);

    Lines taken;
    for (const std::string &line : Split(Contents(record))) {
        if (line.rfind(R"({"in")", 0) == 0) {
            taken.push_back(line.substr(6, line.size() - 7));
        }
    }
    EXPECT_EQ(taken, (Lines{Scene(0), Scene(1), Scene(1), Scene(2)}));
}

TEST_F(Mqtt, LeavesRetainedCommandsAlone) {
    StartBroker();
    const auto watch = Watch();
    Publish("A", Scene(1), "-s -r");
    const auto gateway = Gateway("A");
    gateway->Await("the command that is retained on tq/A/down is ignored");
    Publish("A", Scene(2), "-s -r"); // this one is sent to it, and retained for others only
    watch->Await("tq/A/result");
    EXPECT_EQ(gateway->End(SIGTERM), 0);
    const Lines up = On("tq/A/up", *watch);
    ASSERT_EQ(up.size(), 1U);
    EXPECT_TRUE(Contains(up[0], R"("seq":2,)")) << up[0];
}

// What is not acknowledged when it ends waits in the session for the next one.
TEST_F(Mqtt, StopsWithoutLosingACommand) {
    constexpr int kCommands = 600;
    StartBroker("allow_anonymous true\nmax_queued_messages 0");
    Lines answered;
    const auto run = [&](const std::string &name, int until) {
        const std::string record = folder_.Path(name);
        const auto gateway = Gateway("A", "--quiet --record " + record);
        AwaitInFile(record + ".part", R"("seq":)" + std::to_string(until) + ',');
        EXPECT_EQ(gateway->End(SIGTERM), 0);
        for (const std::string &line : Split(Contents(record))) {
            if (Contains(line, "model_reply")) {
                answered.push_back(std::regex_replace(line, std::regex(R"(.*"seq":([0-9]+),.*)"), "$1"));
            }
        }
    };
    Gateway("A")->Await("connected"); // makes the session
    const Program platform("mosquitto_pub -q 1 -t tq/A/down -l " + Address());
    std::thread speaker([&] {
        for (int seq = 0; seq < kCommands; ++seq) {
            platform.Say(Scene(seq) + '\n');
            usleep(2'000);
        }
    });
    run("first.jsonl", 30);
    const std::size_t before = answered.size();
    run("second.jsonl", kCommands - 1);
    speaker.join();
    EXPECT_LT(before, kCommands) << "the first has taken all, so nothing was tried";
    Lines expected;
    for (int seq = 0; seq < kCommands; ++seq) {
        expected.push_back(std::to_string(seq));
    }
    EXPECT_EQ(answered, expected) << "each once, in order; the first has carried out " << before;
}

TEST_F(Mqtt, CountsWhatItCannotTake) {
    constexpr std::size_t kLines = 40'000;
    StartBroker();
    const std::string record = folder_.Path("session.jsonl");
    const std::string payload = folder_.Path("payload");
    {
        std::ofstream stream(payload);
        for (std::size_t line = 0; line < kLines; ++line) {
            stream << "{\"status_reset\":99999}\n";
        }
    }
    {
        const auto gateway = Gateway("A", "--quiet --record " + record);
        gateway->Await("connected");
        Must("mosquitto_pub -q 1 -t tq/A/down " + Address() + "-f " + payload);
        AwaitInFile(record + ".part", "99999");
        EXPECT_EQ(gateway->End(SIGTERM), 1);
        gateway->Drain();
        const Lines lines = Split(Contents(record));
        const auto taken = std::count_if(lines.begin(), lines.end(), [](const auto &line) { return line.rfind(R"({"in")", 0) == 0; });
        EXPECT_EQ(static_cast<std::size_t>(taken) + NumberSaid(*gateway, "that had arrived were not carried out"), kLines);
    }

    const auto gateway = Gateway("B", "--quiet");
    gateway->Await("connected");
    const auto flood = std::make_unique<Program>("sh -c 'for i in $(seq 120); do mosquitto_pub -q 1 -t tq/B/down " + Address() + "-f " + payload +
                                                 " || exit 1; done; echo flooded'");
    gateway->Await("payloads come faster than they can be taken");
    flood->Await("flooded");
    EXPECT_EQ(gateway->End(SIGTERM), 1);
    gateway->Drain();
    const std::size_t lost = NumberSaid(*gateway, "in all came faster");
    EXPECT_GE(lost, kLines);
    EXPECT_EQ(lost % kLines, 0U) << "whole payloads";
}

TEST_F(Mqtt, LosesDoublesAndDelaysAsItsSeedSays) {
    StartBroker();
    const auto watch = Watch();
    const auto answered = [&](const std::string &serial, const std::string &faults) {
        const auto gateway = Gateway(serial);
        watch->Await("tq/" + serial + "/status online");
        std::string lines = R"({"link":)" + faults + "}\n";
        for (int seq = 1; seq <= 40; ++seq) {
            lines += Scene(seq) + '\n';
        }
        Publish(serial, lines + R"({"link":{}})" + '\n' + Scene(99));
        watch->Await(R"("seq":99)");
        gateway->Signal(SIGTERM);
        gateway->Await("doubled by the link, as asked");
        EXPECT_EQ(gateway->WaitForEnd(), 0);
        watch->Await("tq/" + serial + "/status offline");
        return std::pair(On("tq/" + serial + "/device", *watch).size(), On("tq/" + serial + "/up", *watch));
    };
    const auto first = answered("A", R"({"seed":7,"loss":0.3,"duplicates":0.3})");
    EXPECT_EQ(answered("B", R"({"seed":7,"loss":0.3,"duplicates":0.3})"), first);
    EXPECT_NE(answered("C", R"({"seed":8,"loss":0.3,"duplicates":0.3})"), first);
    EXPECT_EQ(answered("D", R"({"duplicates":1})").first, 81U);
    EXPECT_EQ(answered("E", R"({"duplicates":1})").second.size(), 161U);

    const auto gateway = Gateway("F");
    watch->Await("tq/F/status online");
    Publish("F", R"({"link":{"delay":400}})");
    watch->Await("tq/F/result");
    const auto start = std::chrono::steady_clock::now();
    Publish("F", Scene(1));
    watch->Await("tq/F/device");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(400));
    watch->Await("tq/F/up");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(800));
}

TEST_F(Mqtt, KeepsToItsPrefixAndSendsTheLogWhenAsked) {
    StartBroker();
    const auto watch = Watch();
    const auto gateway = Gateway("A", "--quiet --log info --mqtt-log --topic-prefix lab/7");
    watch->Await("lab/7/A/status online");
    Must("mosquitto_pub -q 1 -t lab/7/A/down -s " + Address(), Scene(1));
    watch->Await("lab/7/A/log ");
    watch->Await("lab/7/A/result ");
    EXPECT_EQ(gateway->End(SIGTERM), 0);
    gateway->Drain();
    EXPECT_EQ(gateway->Printed(), "tq_gateway: connected to 127.0.0.1:" + std::to_string(port_) + '\n');
}

TEST_F(Mqtt, TellsOfTwoWithOneSerial) {
    StartBroker();
    const auto first = Gateway("A");
    first->Await("connected");
    const auto second = Gateway("A");
    first->Await("another gateway runs with --serial A, and each takes the link from the other: ");
    second->Await(" process " + std::to_string(first->Pid()));
}

TEST_F(Mqtt, NoticesABrokerThatHangs) {
    StartBroker();
    const auto gateway = Gateway("A", "--json --keepalive 5");
    gateway->Await("connected");
    broker_->Signal(SIGSTOP);
    const auto late = Gateway("B", "--json --connect-timeout 1");
    late->Await("cannot connect to 127.0.0.1:" + std::to_string(port_) + ": no answer within 1 s");
    EXPECT_EQ(late->End(SIGTERM), 1);
    gateway->Await("broke: the broker gave no sign of life for 5 s");
    broker_->Signal(SIGCONT);
    gateway->Await("connected");
}

TEST_F(Mqtt, TellsWhyThereIsNoLink) {
    std::ofstream(folder_.Path("roles")) << R"({"defaultACLAccess":{"publishClientSend":true,"publishClientReceive":true,"subscribe":false}})";
    StartBroker("allow_anonymous true\nplugin " + RunProgram("ls /usr/lib/*/mosquitto_dynamic_security.so", "").lines.at(0) +
                "\nplugin_opt_config_file " + folder_.Path("roles"));
    Gateway("A")->Await("the broker refuses the subscription to tq/A/down");

    for (const auto &[broker, told] : {std::pair("[127.0.0.9]:7", "cannot connect to 127.0.0.9:7: Connection refused"),
                                       {"127.0.0.9:65535", "cannot connect to 127.0.0.9:65535"},
                                       {"127.0.0.9", "127.0.0.9:1883"},
                                       {"nowhere.invalid", "nowhere.invalid:1883: no address is known for this name"}}) {
        Program gateway(TQ_GATEWAY " --serial A --mqtt " + std::string(broker));
        gateway.Await(told);
        gateway.Signal(SIGTERM);
        gateway.Await("never reached ");
        EXPECT_EQ(gateway.WaitForEnd(), 1);
    }
}

TEST_F(Mqtt, CarriesOutWhatFallsDueBetweenLines) {
    StartBroker();
    std::ofstream(folder_.Path("linkage")) << R"({"delay_unit_ms":100,"day_1":"Monday","condition":{"0":"any"}})";
    const auto watch = Watch();
    const auto gateway = Gateway("A", "--json --linkage " + folder_.Path("linkage"));
    watch->Await("tq/A/status online");
    Publish(
        "A",
        R"({"hub":{"rules":[{"channel":1,"status":[{"id":7,"userId":"","name":"","enable":1,"weekdays":["1","2","3","4","5","6","7"],"startTime":"00:00","endTime":"23:59","rule":{"condition":0,"events":[{"domain":1,"cmdId":1,"deviceId":"B","channelNo":1,"value":1}],"actions":[{"domain":1,"cmdId":2,"deviceId":"A","channelNo":1,"params":{},"delay":3}]}}]}]}})");
    Publish("A", R"({"event":{"deviceId":"B","domain":1,"cmdId":1,"channelNo":1,"value":1}})");
    watch->Await(R"("linkage":"delayed","rule":7,"action":1,"ms":300)");
    watch->Await(R"("linkage":"run","rule":7,"action":1)");
    watch->Await(R"(tq/A/up {"to":"platform","command":19988,)");
    EXPECT_EQ(gateway->End(SIGTERM), 0);
}

TEST_F(Mqtt, ComesBackAsSoonOverTls) {
    MakeCertificate("mine", "IP:127.0.0.1");
    StartBroker("allow_anonymous true\n" + Serve("mine"));
    const auto gateway = Gateway("A", "--json --ca-file " + folder_.Path("mine.pem"));
    gateway->Await("connected to");
    broker_->End(SIGKILL);
    gateway->Await("Connection refused");
    StartBroker();
    const auto start = std::chrono::steady_clock::now();
    gateway->Await("connected to");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4)); // the longest delay, and TLS
    EXPECT_EQ(gateway->End(SIGTERM), 0);
}

TEST_F(Mqtt, TellsWhatIsWrongWithTls) {
    for (const auto &[name, address] : {std::pair("mine", "IP:127.0.0.1"), {"other", "IP:127.0.0.1"}, {"elsewhere", "DNS:elsewhere"}}) {
        MakeCertificate(name, address);
    }
    const auto listen = [&](int port) { return "listener " + std::to_string(port) + " 127.0.0.1\n"; };
    const int elsewhere = port_ + 10'000; // beyond those of other tests
    const int plain = port_ - 10'000;
    StartBroker("per_listener_settings true\nallow_anonymous true\n" + Serve("mine") + "require_certificate true\ncafile " +
                folder_.Path("mine.pem") + '\n' + listen(elsewhere) + "allow_anonymous true\n" + Serve("elsewhere") + listen(plain) +
                "allow_anonymous true");
    const auto pem = [&](const std::string &name) { return " --ca-file " + folder_.Path(name + ".pem"); };
    const auto show = [&](const std::string &certificate, const std::string &key) {
        return " --cert-file " + folder_.Path(certificate + ".pem") + " --key-file " + folder_.Path(key + ".key");
    };
    const std::string mine = pem("mine") + show("mine", "mine");
    for (const auto &[port, options, told] : {std::tuple(port_, mine, "connected"),
                                              {port_, pem("other") + show("mine", "mine"), "or no authority in --ca-file vouches for it"},
                                              {port_, pem("mine"), "the broker wants a client certificate"},
                                              {port_, pem("mine") + show("other", "other"), "the broker does not trust the client certificate"},
                                              {port_, "", "the broker closed it without an answer; is this its port without TLS?"},
                                              {elsewhere, pem("elsewhere"), "the broker's certificate is for another host name"},
                                              {plain, pem("mine"), "the broker ended the TLS handshake; is this its port for TLS?"}}) {
        SCOPED_TRACE(options);
        Program gateway(TQ_GATEWAY " --serial A --mqtt 127.0.0.1:" + std::to_string(port) + options);
        gateway.Await(told);
        EXPECT_EQ(gateway.End(SIGTERM), told == std::string("connected") ? 0 : 1);
    }
    const std::string key = folder_.Path("mine.key");
    for (const auto &[options, told] :
         {std::pair(" --ca-file " + key, "mine.key: holds no certificates that can be read"),
          {pem("mine") + " --cert-file " + key + " --key-file " + key, "mine.key: holds no certificate that can be read"},
          {pem("mine") + show("mine", "other"), "other.key: is not the key of --cert-file"}}) {
        const Outcome outcome = RunGateway("--serial A --mqtt 127.0.0.1" + options + " 2>&1", "");
        EXPECT_EQ(outcome.code, 2);
        EXPECT_TRUE(Contains(Joined(outcome.lines), told)) << Joined(outcome.lines);
    }
}

} // namespace
