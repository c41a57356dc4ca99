// SPDX-License-Identifier: Apache-2.0
// tq_link_bench: what the link of tq_gateway must hold, against a broker of its own. A platform sends
// numbered commands; every command has one answer with its number.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <mosquitto.h>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr double kMostResident = 12e6; // bytes
constexpr double kLeastCarriedOut = 0.99;
constexpr milliseconds kFlap{5500};     // from one death of the broker to the next
constexpr milliseconds kOutage{500};    // of these
constexpr seconds kPatience{10};        // without any progress
constexpr int kMostUnconfirmed = 1'000; // the client walks through them at every confirmation
constexpr int kNumbersPerGateway = 10'000'000;

// ---- Processes. ----

/// A program that runs until the object ends, what it says in a file.
class Process {
public:
    Process(std::vector<std::string> command, const std::string &output) {
        std::vector<char *> arguments;
        for (std::string &argument : command) {
            arguments.push_back(argument.data());
        }
        arguments.push_back(nullptr);
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
            dup2(file, STDOUT_FILENO);
            dup2(file, STDERR_FILENO);
            execvp(arguments[0], arguments.data());
            _exit(127);
        }
    }
    ~Process() { End(SIGKILL); }
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    void End(int signal) {
        if (pid_ > 0) {
            kill(pid_, signal);
            waitpid(pid_, nullptr, 0);
            pid_ = -1;
        }
    }

    /// The most that it has had in memory.
    double ResidentBytes() const {
        std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
        for (std::string line; std::getline(status, line);) {
            if (line.rfind("VmHWM:", 0) == 0) {
                return 1024 * std::strtod(line.c_str() + std::strlen("VmHWM:"), nullptr);
            }
        }
        throw std::runtime_error("the gateway has ended");
    }

private:
    pid_t pid_ = -1;
};

/// A folder for all files of a run, gone with it.
class Folder {
public:
    Folder() {
        if (mkdtemp(path_.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
    }
    ~Folder() { Process({"rm", "-r", path_}, "/dev/null").End(0); }
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;

    std::string Path(const std::string &name) const { return path_ + '/' + name; }

private:
    std::string path_ = "/tmp/tq_link_bench.XXXXXX";
};

/// A socket of this machine: bound to a free port, or connected to one.
class Socket {
public:
    ~Socket() { close(fd_); }

    int FreePort() {
        sockaddr_in address = Address(0);
        socklen_t size = sizeof address;
        if (bind(fd_, As(address), size) != 0 || getsockname(fd_, As(address), &size) != 0) {
            throw std::runtime_error("no free port");
        }
        return ntohs(address.sin_port);
    }

    bool Connects(int port) {
        sockaddr_in address = Address(port);
        return connect(fd_, As(address), sizeof address) == 0;
    }

private:
    static sockaddr_in Address(int port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }
    static sockaddr *As(sockaddr_in &address) { return reinterpret_cast<sockaddr *>(&address); }

    int fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

void WaitUntil(const char *what, const std::function<bool()> &holds) {
    const auto end = steady_clock::now() + kPatience;
    while (!holds()) {
        if (steady_clock::now() > end) {
            throw std::runtime_error(std::string("waited in vain: ") + what);
        }
        std::this_thread::sleep_for(milliseconds(5));
    }
}

/// A broker that keeps as many messages as come; when it is a lasting one, over its death, too.
class Broker {
public:
    Broker(const Folder &folder, bool lasting) : folder_(folder), port_(Socket().FreePort()) {
        std::ofstream(folder_.Path("conf"))
            << "user root\nlistener " << port_ << " 127.0.0.1\nallow_anonymous true\nset_tcp_nodelay true\n"
            << "max_queued_messages 0\n"
            << (lasting ? "persistence true\npersistence_location " + folder_.Path("") : "") << '\n';
        Start();
    }

    void Start() {
        process_ = std::make_unique<Process>(
            std::vector<std::string>{"mosquitto", "-c", folder_.Path("conf")}, folder_.Path("broker.log"));
        WaitUntil("the broker", [this] { return Socket().Connects(port_); });
    }
    void End(int signal) { process_->End(signal); }
    int Port() const { return port_; }

private:
    const Folder &folder_;
    const int port_;
    std::unique_ptr<Process> process_;
};

std::unique_ptr<Process> StartGateway(const std::string &program, const Broker &broker, const Folder &folder,
                                      const std::string &serial, const std::string &shown) {
    return std::make_unique<Process>(std::vector<std::string>{program, shown, "--serial", serial, "--mqtt",
                                                              "127.0.0.1:" + std::to_string(broker.Port())},
                                     folder.Path(serial));
}

// ---- The platform. ----

std::string Serial(std::size_t gateway) {
    return 'G' + std::to_string(gateway);
}

/// The number in an answer, a line out; negative when it is none.
int AnswerNumber(const char *line) {
    constexpr const char *kAnswer = R"({"to":"platform","command":20035,"seq":)";
    return std::strncmp(line, kAnswer, std::strlen(kAnswer)) == 0 ? std::atoi(line + std::strlen(kAnswer))
                                                                  : -1;
}

/// A client that comes back whenever the broker does.
class Client {
public:
    explicit Client(const char *name) : client_(mosquitto_new(name, true, this)) {
        mosquitto_threaded_set(client_, true);
        mosquitto_int_option(client_, MOSQ_OPT_TCP_NODELAY, 1);
        mosquitto_max_inflight_messages_set(client_, 0);
        mosquitto_connect_callback_set(
            client_, [](mosquitto *, void *self, int) { static_cast<Client *>(self)->Connected(); });
        mosquitto_disconnect_callback_set(
            client_, [](mosquitto *, void *self, int) { static_cast<Client *>(self)->Disconnected(); });
        mosquitto_publish_callback_set(
            client_, [](mosquitto *, void *self, int id) { static_cast<Client *>(self)->Confirmed(id); });
        mosquitto_message_callback_set(client_,
                                       [](mosquitto *, void *self, const mosquitto_message *message) {
                                           static_cast<Client *>(self)->Received(*message);
                                       });
    }
    virtual ~Client() { mosquitto_destroy(client_); }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    void Start(int port) {
        thread_ = std::thread([this, port] {
            mosquitto_connect(client_, "127.0.0.1", port, 60);
            while (!ends_) {
                if (mosquitto_loop(client_, 50, 1) != MOSQ_ERR_SUCCESS) {
                    std::this_thread::sleep_for(milliseconds(20));
                    mosquitto_reconnect(client_);
                }
            }
        });
    }

protected:
    /// Every class that has callbacks calls it before they go.
    void End() {
        ends_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
    }

    virtual void Connected() {}
    virtual void Disconnected() {}
    virtual void Confirmed(int) {}
    virtual void Received(const mosquitto_message &) {}

    mosquitto *client_;

private:
    std::thread thread_;
    std::atomic<bool> ends_{false};
};

/// Sends numbered commands, those of each gateway in order.
class Commander : public Client {
public:
    Commander() : Client("commander") {}
    ~Commander() override { End(); }

    /// Sends `count` commands in turn to all gateways, so many a second where the broker takes them so fast.
    void Send(std::size_t gateways, std::size_t count, double rate) {
        const auto start = steady_clock::now();
        for (std::size_t sent = 0; sent < count;) {
            const std::chrono::duration<double> elapsed = steady_clock::now() - start;
            const auto due = std::min(count, static_cast<std::size_t>(elapsed.count() * rate) + 1);
            for (; sent < due && unconfirmed_ < kMostUnconfirmed; ++sent) {
                const std::size_t gateway = sent % gateways;
                SendOne(Serial(gateway),
                        static_cast<int>(gateway) * kNumbersPerGateway + static_cast<int>(sent / gateways));
            }
            std::this_thread::sleep_for(milliseconds(1));
        }
    }

    /// The numbers that were not confirmed when a link broke: those the platform itself repeats.
    std::set<int> Repeated() {
        const std::lock_guard lock(mutex_);
        return repeated_;
    }

private:
    void SendOne(const std::string &serial, int number) {
        const std::string topic = "tq/" + serial + "/down";
        const std::string command = R"({"command":20034,"seq":)" + std::to_string(number) +
                                    R"(,"body":{"delay":0,"channelNo":1,"params":{}}})";
        const std::lock_guard lock(mutex_);
        ++unconfirmed_;
        int id = 0;
        mosquitto_publish(client_, &id, topic.c_str(), static_cast<int>(command.size()), command.data(), 1,
                          false);
        pending_[static_cast<std::size_t>(id)] = number + 1;
    }

    void Confirmed(int id) override {
        const std::lock_guard lock(mutex_);
        pending_[static_cast<std::size_t>(id)] = 0;
        --unconfirmed_;
    }

    void Disconnected() override {
        const std::lock_guard lock(mutex_);
        for (const int number : pending_) {
            if (number > 0) {
                repeated_.insert(number - 1);
            }
        }
    }

    std::mutex mutex_;
    std::atomic<int> unconfirmed_{0};
    std::vector<int> pending_ = std::vector<int>(65536); ///< By identifier: a number and 1, or 0.
    std::set<int> repeated_;
};

/// Checks the answers of all gateways as they come.
class Auditor : public Client {
public:
    explicit Auditor(std::size_t gateways) : Client("auditor"), next_(gateways) {}
    ~Auditor() override { End(); }

    std::size_t Answers() const { return answers_; }
    std::size_t OutOfOrder() const { return out_of_order_; }
    std::size_t Crossed() const { return crossed_; }
    std::size_t Online() const { return online_; }
    bool Ready() const { return ready_; }

private:
    void Connected() override {
        mosquitto_subscribe(client_, nullptr, "tq/+/up", 1);
        mosquitto_subscribe(client_, nullptr, "tq/+/status", 1);
        ready_ = true;
    }

    void Received(const mosquitto_message &message) override {
        const std::string text(static_cast<const char *>(message.payload),
                               static_cast<std::size_t>(message.payloadlen));
        online_ += text == "online" ? 1 : 0;
        const int number = AnswerNumber(text.c_str());
        if (number < 0) {
            return;
        }
        ++answers_;
        const std::size_t gateway = std::strtoul(message.topic + std::strlen("tq/G"), nullptr, 10);
        if (static_cast<std::size_t>(number / kNumbersPerGateway) != gateway) {
            ++crossed_;
            return;
        }
        int &next = next_[gateway];
        out_of_order_ += number % kNumbersPerGateway != next ? 1 : 0;
        next = number % kNumbersPerGateway + 1;
    }

    std::vector<int> next_; ///< The number that each gateway's next answer has.
    std::atomic<std::size_t> answers_{0};
    std::atomic<std::size_t> out_of_order_{0};
    std::atomic<std::size_t> crossed_{0};
    std::atomic<std::size_t> online_{0};
    std::atomic<bool> ready_{false};
};

// ---- The figures. ----

/// Waits until a count is reached or does not grow any more.
void WaitForCount(std::size_t expected, const std::function<std::size_t()> &count) {
    std::size_t last = 0;
    for (auto moved = steady_clock::now(); last < expected && steady_clock::now() - moved < kPatience;) {
        std::this_thread::sleep_for(milliseconds(20));
        if (const std::size_t now = count(); now != last) {
            last = now;
            moved = steady_clock::now();
        }
    }
}

bool Judge(bool holds) {
    printf("  %s\n", holds ? "ok" : "BROKEN");
    fflush(stdout);
    return holds;
}

/// Gateways that together get so many commands a second.
bool Load(const std::string &program, std::size_t gateways, std::size_t count, double rate) {
    const Folder folder;
    const Broker broker(folder, false);
    Auditor auditor(gateways);
    auditor.Start(broker.Port());
    WaitUntil("the platform", [&] { return auditor.Ready(); });
    std::vector<std::unique_ptr<Process>> processes;
    for (std::size_t gateway = 0; gateway < gateways; ++gateway) {
        processes.push_back(StartGateway(program, broker, folder, Serial(gateway), "--quiet"));
    }
    WaitUntil("the gateways", [&] { return auditor.Online() >= gateways; });

    Commander commander;
    commander.Start(broker.Port());
    const auto start = steady_clock::now();
    commander.Send(gateways, count, rate);
    const std::chrono::duration<double> sending = steady_clock::now() - start;
    WaitForCount(count, [&] { return auditor.Answers(); });
    const std::chrono::duration<double> took = steady_clock::now() - start;

    double resident = 0;
    for (const auto &process : processes) {
        resident = std::max(resident, process->ResidentBytes());
    }
    const std::size_t lost = count - std::min(count, auditor.Answers());
    printf("%2zu gateway%s %6.0f commands/s  %7zu sent  %zu lost  %zu out of order  %zu crossed  "
           "sent in %.1f s, answered in %.1f s  %.1f MB resident (at most %.0f)",
           gateways, gateways == 1 ? ", " : "s,", rate, count, lost, auditor.OutOfOrder(), auditor.Crossed(),
           sending.count(), took.count(), resident / 1e6, kMostResident / 1e6);
    return Judge(auditor.Answers() == count && auditor.OutOfOrder() == 0 && auditor.Crossed() == 0 &&
                 resident <= kMostResident);
}

/// What a gateway has answered, from what it showed.
std::vector<int> CountAnswers(const std::string &file, std::size_t count) {
    std::vector<int> times(count);
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        const int number = AnswerNumber(line.c_str());
        if (number >= 0 && static_cast<std::size_t>(number) < count) {
            ++times[static_cast<std::size_t>(number)];
        }
    }
    return times;
}

/// A broker that dies and comes back again and again.
bool Flap(const std::string &program, int deaths, double rate) {
    const Folder folder;
    Broker broker(folder, true);
    const auto gateway = StartGateway(program, broker, folder, Serial(0), "--json");
    WaitUntil("the gateway", [&] {
        std::ifstream stream(folder.Path(Serial(0)));
        std::string line;
        return std::getline(stream, line) && line.find("connected") != std::string::npos;
    });
    Commander commander;
    commander.Start(broker.Port());
    const std::chrono::duration<double> length =
        kFlap * deaths * 12 / 11; // it also has to live on after the last
    const auto count = static_cast<std::size_t>(rate * length.count());
    std::thread sender([&] { commander.Send(1, count, rate); });
    for (int death = 0; death < deaths; ++death) {
        std::this_thread::sleep_for(kFlap - kOutage);
        broker.End(SIGTERM); // which has it save its state: what a broker forgets is not measured here
        std::this_thread::sleep_for(kOutage);
        broker.Start();
    }
    sender.join();

    std::vector<int> times;
    const auto carried_out = [&] {
        times = CountAnswers(folder.Path(Serial(0)), count);
        return static_cast<std::size_t>(
            std::count_if(times.begin(), times.end(), [](int n) { return n > 0; }));
    };
    WaitForCount(count, carried_out);
    const std::size_t done = carried_out();
    const std::set<int> repeated = commander.Repeated();
    std::size_t twice = 0;
    std::size_t sent_twice = 0;
    for (std::size_t number = 0; number < count; ++number) {
        if (times[number] > 1) {
            ++(repeated.count(static_cast<int>(number)) > 0 ? sent_twice : twice);
        }
    }
    printf(" %d deaths of the broker, %3.0f commands/s  %7zu sent  %zu lost, %.2f %% carried out (at least "
           "%.0f)  "
           "%zu twice, and %zu that the platform sent twice",
           deaths, rate, count, count - done, 100.0 * static_cast<double>(done) / static_cast<double>(count),
           100 * kLeastCarriedOut, twice, sent_twice);
    return Judge(static_cast<double>(done) >= kLeastCarriedOut * static_cast<double>(count) && twice == 0);
}

} // namespace

int main(int argc, char **argv) {
    const bool brief = argc == 3 && std::strcmp(argv[2], "--short") == 0;
    if (argc < 2 || (argc > 2 && !brief)) {
        fprintf(stderr, "usage: tq_link_bench GATEWAY [--short]\n");
        return 2;
    }
    const std::string program = argv[1];
    mosquitto_lib_init();
    try {
        const std::size_t count = brief ? 20'000 : 200'000;
        bool holds = Load(program, 1, count, 10'000);
        holds = Load(program, 50, count, 10'000) && holds;
        holds = Flap(program, brief ? 1 : 20, 500) && holds;
        mosquitto_lib_cleanup();
        return holds ? 0 : 1;
    } catch (const std::exception &error) {
        fprintf(stderr, "tq_link_bench: %s\n", error.what());
        return 1;
    }
}
