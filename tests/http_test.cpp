// SPDX-License-Identifier: Apache-2.0
// tq_gateway --http as a script, a browser, or somebody with bad intentions asks it.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include "gateway_runner.h"

namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

/// One who asks, byte by byte.
class Client {
public:
    explicit Client(int port, int receive_buffer = 0) : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        if (receive_buffer > 0) {
            setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
        }
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        inet_pton(AF_INET, "127.0.0.1", &address.sin_addr);
        EXPECT_EQ(connect(fd_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    }
    ~Client() { close(fd_); }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    /// Sends as much as is taken.
    void Send(const std::string &text) const {
        for (std::size_t sent = 0; sent < text.size();) {
            const ssize_t now = send(fd_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
            if (now <= 0) {
                return;
            }
            sent += static_cast<std::size_t>(now);
        }
    }

    /// Reads on until this comes, or the other side ends; all that was read up to there.
    std::string ReadTo(const std::string &part) {
        char text[65536];
        pollfd waiting = {fd_, POLLIN, 0};
        for (std::size_t searched = awaited_;;) {
            if (const std::size_t found = got_.find(part, searched); found != std::string::npos) {
                awaited_ = found + part.size();
                return got_.substr(0, awaited_);
            }
            searched = std::max(awaited_, got_.size() - std::min(got_.size(), part.size()));
            const ssize_t now = poll(&waiting, 1, 60'000) > 0 ? recv(fd_, text, sizeof text, 0) : 0;
            if (now <= 0) {
                return got_;
            }
            got_.append(text, static_cast<std::size_t>(now));
        }
    }

    /// All until the other side has ended.
    std::string ReadAll() { return ReadTo("\xff"); }

private:
    int fd_;
    std::string got_;
    std::size_t awaited_ = 0; ///< Where what was read last ends.
};

/// Of an answer, the number in its first line.
std::string Status(const std::string &answer) { return answer.substr(0, answer.find("\r\n")).substr(0, 12); }

std::string Body(const std::string &answer) {
    const std::size_t end = answer.find("\r\n\r\n");
    return end == std::string::npos ? "no answer: " + answer : answer.substr(end + 4);
}

/// The text of a body in chunks.
std::string Unchunked(const std::string &body) {
    std::string text;
    for (std::size_t at = 0; at < body.size();) {
        const std::size_t size = std::strtoul(body.c_str() + at, nullptr, 16);
        at = body.find("\r\n", at) + 2;
        text += body.substr(at, size);
        at += size + 2;
    }
    return text;
}

class Http : public testing::Test {
protected:
    void SetUp() override {
        if (TQ_SKIP_HTTP) {
            GTEST_SKIP() << "this build for another architecture has no libmicrohttpd, so no --http";
        }
        Start("");
    }

    void Start(const std::string &more) {
        gateway_ = std::make_unique<Program>(TQ_GATEWAY " --http 0 --quiet " + more);
        const std::string said = gateway_->Await("http://");
        const std::size_t colon = said.rfind(':');
        port_ = std::stoi(said.substr(colon + 1));
        token_ = said.substr(said.find('#') + 1);
        EXPECT_EQ(token_.size(), 32U);
    }

    std::string Head(const std::string &what, const std::string &more = "") const {
        return what + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + more + Token();
    }
    std::string Token() const { return "Authorization: Bearer " + token_ + "\r\n"; }

    /// The whole answer to a request.
    std::string Ask(const std::string &request) const {
        Client client(port_);
        client.Send(request);
        return client.ReadAll();
    }

    std::string Get(const std::string &path) const { return Ask(Head("GET " + path, "Connection: close\r\n") + "\r\n"); }

    std::string Posted(const std::string &lines) const {
        return Head("POST /lines", "Connection: close\r\nContent-Length: " + std::to_string(lines.size()) + "\r\n") + "\r\n" + lines;
    }
    std::string Post(const std::string &lines) const { return Ask(Posted(lines)); }

    /// A reader of events, from behind the one with this number.
    std::unique_ptr<Client> Reader(const std::string &had = "0", int receive_buffer = 0) const {
        auto reader = std::make_unique<Client>(port_, receive_buffer);
        reader->Send(Head("GET /events", "Last-Event-ID: " + had + "\r\n") + "\r\n");
        return reader;
    }

    std::unique_ptr<Program> gateway_;
    int port_ = 0;
    std::string token_;
};

TEST_F(Http, AnswersWithWhatALineCausesOrItsError) {
    EXPECT_EQ(Body(Post(R"({"model":"ExecManualScene","seq":9,"body":{"ruleId":"42"}})")),
              R"({"to":"device","msg":"MANUAL_SCENE","uiSceneId":42}
{"to":"platform","model_reply":"ExecManualScene","status":200,"err_code":"0","err_msg":"success!","msg_type":"operate_reply","seq":9,"body":{}}
{"result":0}
)");
    EXPECT_EQ(Body(Post("{\"status_pass\":1,\"id\":7}\n# a comment\n\n{\"hub\":{\"ssid\":\"attic\"}}\n")),
              "{\"error\":\"status_pass: expected true\",\"id\":7}\n{\"result\":null}\n");
    EXPECT_EQ(Body(Post("")), "");
    EXPECT_EQ(Body(Post("\xff")),
              "{\"error\":\"not JSON: parse error at line 1, column 1: syntax error while parsing value - invalid literal; last read: '�'\"}\n");
}

TEST_F(Http, RefusesWhoMayNotAskAndWhatThereIsNot) {
    const std::string host = "Host: 127.0.0.1\r\n";
    const struct {
        const char *status;
        std::string request;
    } rows[] = {
        {"HTTP/1.1 200", "GET / HTTP/1.1\r\n" + host},
        {"HTTP/1.1 200", "GET /app.js HTTP/1.1\r\nHost: localhost:1\r\nOrigin: http://localhost:1\r\n"},
        {"HTTP/1.1 200", "HEAD /index.html HTTP/1.1\r\nHost: [::1]:8080\r\n"},
        {"HTTP/1.1 401", "GET /events HTTP/1.1\r\n" + host},
        {"HTTP/1.1 401", "GET /recording HTTP/1.1\r\n" + host + "Authorization: Bearer \r\n"},
        {"HTTP/1.1 401", "GET /recording HTTP/1.1\r\n" + host + "Authorization: Basic " + token_ + "\r\n"},
        {"HTTP/1.1 401", "GET /recording HTTP/1.1\r\n" + host + "Authorization: Bearer " + std::string(32, '0') + "\r\n"},
        {"HTTP/1.1 401", "GET /recording?token=" + token_ + " HTTP/1.1\r\n" + host},
        {"HTTP/1.1 401", "POST /lines HTTP/1.1\r\n" + host + "Content-Length: 2\r\n"},
        {"HTTP/1.1 403", "GET / HTTP/1.0\r\n"},
        {"HTTP/1.1 403", "GET / HTTP/1.1\r\nHost: evil.example\r\n"},
        {"HTTP/1.1 403", "GET / HTTP/1.1\r\nHost: 127.0.0.1.evil.example\r\n"},
        {"HTTP/1.1 403", "GET / HTTP/1.1\r\nHost: 999.0.0.1\r\n"},
        {"HTTP/1.1 403", "GET /recording HTTP/1.1\r\nHost: evil.example\r\n" + Token()},
        {"HTTP/1.1 403", "GET /recording HTTP/1.1\r\n" + host + "Origin: http://evil.example\r\n" + Token()},
        {"HTTP/1.1 403", "GET /recording HTTP/1.1\r\n" + host + "Origin: null\r\n" + Token()},
        {"HTTP/1.1 403", "GET /recording HTTP/1.1\r\n" + host + "Origin: https://127.0.0.1\r\n" + Token()},
        {"HTTP/1.1 404", Head("GET /../etc/passwd")},
        {"HTTP/1.1 404", Head("GET /%2e%2e/%2e%2e/etc/passwd")},
        {"HTTP/1.1 404", Head("GET //index.html")},
        {"HTTP/1.1 404", Head("GET /app.js/")},
        {"HTTP/1.1 404", Head("GET /page/app.js")},
        {"HTTP/1.1 404", Head("GET /events/../recording")},
        {"HTTP/1.1 405", Head("PUT /index.html")},
        {"HTTP/1.1 405", Head("GET /lines")},
        {"HTTP/1.1 405", Head("POST /recording")},
        {"HTTP/1.1 400", Head("GET /events", "Last-Event-ID: x\r\n")},
        {"HTTP/1.1 400", Head("GET /events", "Last-Event-ID: 99999999999999999999\r\n")},
        {"HTTP/1.1 413", Head("POST /lines", "Content-Length: 10000000\r\n")},
        {"HTTP/1.1 413", Head("POST /lines", "Content-Length: 1048577\r\n")},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.request);
        const std::string answer = Ask(row.request + "Connection: close\r\n\r\n");
        EXPECT_EQ(Status(answer), row.status);
        for (const char *header : {"X-Content-Type-Options: nosniff", "Content-Security-Policy: default-src 'none'; script-src 'self'; "}) {
            EXPECT_EQ(Contains(answer, header), true) << header;
        }
    }
}

TEST_F(Http, BoundsBodiesThatDoNotSayHowLongTheyAre) {
    std::string chunks = Head("POST /lines", "Connection: close\r\nTransfer-Encoding: chunked\r\n") + "\r\n";
    for (int i = 0; i < 10; ++i) {
        chunks += "100000\r\n" + std::string(0x100000, ' ') + "\r\n";
    }
    EXPECT_EQ(Status(Ask(chunks + "0\r\n\r\n")), "HTTP/1.1 413");
    EXPECT_EQ(Body(Post(R"({"status_pass":true})" + std::string((1 << 20) - 20, ' '))).substr(0, 17), R"({"to":"platform",)");
}

TEST_F(Http, KeepsARecordingThatReplays) {
    for (const std::string &line : Split(Contents(TQ_SCENARIOS "/tour.jsonl"))) {
        ASSERT_EQ(Status(Post(line)), "HTTP/1.1 200") << line;
    }
    ASSERT_EQ(Status(Post("{\"hub\":\r{\"ssid\":\"attic\"}}\nno JSON\n\xff")), "HTTP/1.1 200");
    const std::string recording = Unchunked(Body(Get("/recording")));
    EXPECT_EQ(Contains(recording, "{\"in\":{\"hub\":\r{"), true) << "is not as it was written";
    const Folder folder;
    std::ofstream(folder.Path("r")) << recording;
    EXPECT_EQ(RunGateway("replay " + folder.Path("r"), "").code, 0);
}

TEST_F(Http, NumbersEventsAsTheRecordingDoesAndGoesOnBehindTheLast) {
    Post("{\"hub\":\r{\"ssid\":\"attic\"}}");
    const Lines recording = Split(Unchunked(Body(Get("/recording"))));
    ASSERT_EQ(recording.size(), 3U);
    const std::string third = "id: 3\ndata: " + recording[2] + "\n\n";
    EXPECT_EQ(Body(Reader("2")->ReadTo("\n\n\r\n")).substr(4), third + "\r\n"); // behind the size of its chunk

    const auto all = Reader();
    const std::string first = all->ReadTo(third + "\r\n");
    EXPECT_EQ(Contains(first, "id: 1\ndata: {\"session\":"), true) << first;
    EXPECT_EQ(Contains(first, "id: 2\ndata: {\"in\":{\"hub\": {\"ssid\":\"attic\"}}"), true) << first;
    Post(R"({"hub":{"ssid":"hall"}})");
    EXPECT_EQ(Contains(all->ReadTo("\n\n\r\n"), R"("hall")"), true) << "nothing came live";
}

TEST_F(Http, GoesOnWhenTheInputEndsAndTellsReadersAllBeforeItEnds) {
    const auto reader = Reader();
    gateway_->Say("{\"report\":\"event\",\"channel\":1,\"value\":5}\n");
    reader->ReadTo("\"result\":0}");
    EXPECT_EQ(Body(Post(R"({"status_pass":1})")), "{\"error\":\"status_pass: expected true\"}\n");
    EXPECT_EQ(gateway_->End(SIGTERM), 0);
    const std::string events = reader->ReadAll();
    EXPECT_EQ(Contains(events, "status_pass: expected true"), true);
    EXPECT_EQ(events.substr(events.size() - 7), "\r\n0\r\n\r\n") << "was cut off";

    Start("</dev/null");
    EXPECT_EQ(Body(Post(R"({"status_pass":1})")), "{\"error\":\"status_pass: expected true\"}\n");
    EXPECT_EQ(gateway_->End(SIGINT), 0);
}

TEST_F(Http, SaysWhyItCannotListen) {
    const Outcome taken = RunGateway("--http " + std::to_string(port_) + " 2>&1", "");
    EXPECT_EQ(taken.code, 2);
    EXPECT_EQ(Joined(taken.lines), "tq_gateway: --http 127.0.0.1:" + std::to_string(port_) + ": Address already in use\n");
    const Outcome wrong = RunGateway("--http evil.example:80 2>&1", "");
    EXPECT_EQ(wrong.code, 2);
    EXPECT_EQ(wrong.lines.front(), "tq_gateway: --http: expected PORT or ADDRESS:PORT, the address in numbers, an IPv6 address in brackets");
}

TEST_F(Http, TellsAReaderThatStoodStillHowManyItMissed) {
    const auto still = Reader("0", 65536);
    const std::string comment = "# " + std::string(1'000'000, 'x');
    constexpr int kComments = 80; // beyond the 64 MiB that are kept
    for (int i = 0; i < kComments; ++i) {
        ASSERT_EQ(Status(Post(comment)), "HTTP/1.1 200"); // nobody waits for the reader
    }
    EXPECT_EQ(Status(Get("/recording")), "HTTP/1.1 410");
    Post(R"({"hub":{"ssid":"the last"}})");

    std::size_t told = 0, dropped = 0, last = 0;
    for (const std::string &line : Split(Unchunked(Body(still->ReadTo("the last"))))) {
        constexpr const char *kDropped = "data: {\"dropped\":";
        if (line.rfind("id: ", 0) == 0) {
            last = std::stoul(line.substr(4));
            ++told;
        } else if (line.rfind(kDropped, 0) == 0) {
            dropped += std::stoul(line.substr(strlen(kDropped)));
        }
    }
    EXPECT_GT(dropped, 0U);
    EXPECT_EQ(told + dropped, last);
}

TEST_F(Http, StandsAThousandReadersThatStandStill) {
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    std::vector<std::unique_ptr<Client>> readers;
    for (int i = 0; i < 1000; ++i) {
        readers.push_back(Reader("0", 4096));
        readers.back()->ReadTo("\r\n\r\n");
    }
    const auto start = steady_clock::now();
    std::string lines;
    for (int i = 0; i < 5'000; ++i) {
        lines += "{\"report\":\"event\",\"channel\":1,\"value\":5}\n";
    }
    EXPECT_EQ(Split(Body(Post(lines))).size(), 10'000U);
    EXPECT_LT(steady_clock::now() - start, seconds(TQ_SLOW ? 60 : 5)) << "the gateway waited for readers";
    EXPECT_EQ(Status(Get("/events")), "HTTP/1.1 503");
    readers.clear();
    Post("{\"status_pass\":true}"); // the readers that are gone are noticed when they are written to
    const auto end = steady_clock::now() + seconds(30);
    while (Status(Reader()->ReadTo("\r\n\r\n")) != "HTTP/1.1 200" && steady_clock::now() < end) {
        usleep(100'000);
    }
    EXPECT_EQ(Status(Reader()->ReadTo("\r\n\r\n")), "HTTP/1.1 200");
}

} // namespace
