// SPDX-License-Identifier: Apache-2.0
// The server: one thread, an event loop around libmicrohttpd, and the lines that requests have for the
// gateway.
#include "http/http.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <deque>
#include <iterator>
#include <mutex>
#include <set>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <microhttpd.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <nlohmann/json.hpp>

#include "file_descriptor.h"
#include "http/access.h"
#include "http/event_log.h"
#include "http/log_reader.h"
#include "http/page_files.h"
#include "lines/reference.h"
#include "output/timeline.h"
#include "recording/recording.h"
#include "tqdev_host.h"

namespace tqgateway {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t kLogBytes = std::size_t{64} << 20;
constexpr std::size_t kLongestBody = std::size_t{1} << 20;
constexpr std::size_t kMostReaders = 1000;
constexpr std::size_t kMostWaiting = 64; // requests with lines that the gateway has not taken yet
constexpr unsigned kMostConnections = 1100;
constexpr unsigned kOtherFiles = 200;                 // that the process may have open besides
constexpr unsigned kIdleSeconds = 30;                 // until a connection on which nothing moves is closed
constexpr std::size_t kBlock = std::size_t{16} << 10; // of an answer that grows
constexpr int kSendBuffer = 64 << 10; // the system's, for each reader; what does not fit waits in the log
constexpr milliseconds kBeat{10'000}; // a reader that is gone is noticed when it is written to
constexpr milliseconds kFarewell{500};

struct ResponseFree {
    void operator()(MHD_Response *response) const { MHD_destroy_response(response); }
};
using Response = std::unique_ptr<MHD_Response, ResponseFree>;

struct DaemonStop {
    void operator()(MHD_Daemon *daemon) const { MHD_stop_daemon(daemon); }
};

struct Header {
    const char *name;
    const char *value;
};

constexpr Header kHeaders[] = {
    {"Cache-Control", "no-store"},
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self' data:; "
     "base-uri 'none'; form-action 'none'; frame-ancestors 'none'; require-trusted-types-for 'script'"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Referrer-Policy", "no-referrer"},
    {"X-Content-Type-Options", "nosniff"},
};

constexpr const char *kJsonLines = "application/jsonl; charset=utf-8";

struct FileType {
    std::string_view ending;
    const char *type;
};

constexpr FileType kFileTypes[] = {
    {".html", "text/html; charset=utf-8"},
    {".js", "text/javascript; charset=utf-8"},
    {".css", "text/css; charset=utf-8"},
    {".svg", "image/svg+xml"},
};

const char *TypeOf(std::string_view path) {
    return std::find_if(std::begin(kFileTypes), std::end(kFileTypes),
                        [&](const FileType &row) {
                            return path.size() > row.ending.size() &&
                                   path.substr(path.size() - row.ending.size()) == row.ending;
                        })
        ->type;
}

/// An answer with the headers that all have.
Response Finished(MHD_Response *made, const char *type) {
    if (made == nullptr) {
        throw std::bad_alloc();
    }
    Response response(made);
    MHD_add_response_header(made, MHD_HTTP_HEADER_CONTENT_TYPE, type);
    for (const Header &header : kHeaders) {
        MHD_add_response_header(made, header.name, header.value);
    }
    return response;
}

Response TextResponse(std::string_view text, const char *type, MHD_ResponseMemoryMode mode) {
    return Finished(MHD_create_response_from_buffer(text.size(), const_cast<char *>(text.data()), mode),
                    type);
}

std::string_view HeaderOf(MHD_Connection *connection, const char *name) {
    const char *value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
    return value == nullptr ? std::string_view() : value;
}

/// What is wrong with a request, and the header that says so, too.
struct Refusal {
    unsigned status;
    std::string reason;
    Header header = {MHD_HTTP_HEADER_CONNECTION, "close"};
};

/// A socket that listens. Throws std::invalid_argument.
FileDescriptor Listen(const HttpOptions &options) {
    const std::string where = "--http " + options.address + ':' + std::to_string(options.port) + ": ";
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    const int failed =
        getaddrinfo(options.address.c_str(), std::to_string(options.port).c_str(), &hints, &found);
    if (failed != 0) {
        throw std::invalid_argument(where + gai_strerror(failed));
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo *)> address(found, freeaddrinfo);
    FileDescriptor listening(socket(address->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int yes = 1;
    setsockopt(listening.Get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    setsockopt(listening.Get(), SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof kSendBuffer);
    if (bind(listening.Get(), address->ai_addr, address->ai_addrlen) != 0 ||
        listen(listening.Get(), SOMAXCONN) != 0) {
        throw std::invalid_argument(where + strerror(errno));
    }
    return listening;
}

/// "127.0.0.1:8080", "[::1]:8080": where a socket listens.
std::string AddressOf(int listening) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    char host[NI_MAXHOST];
    char port[NI_MAXSERV];
    if (getsockname(listening, reinterpret_cast<sockaddr *>(&address), &size) != 0 ||
        getnameinfo(reinterpret_cast<sockaddr *>(&address), size, host, sizeof host, port, sizeof port,
                    NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        throw std::runtime_error("cannot tell where the server listens");
    }
    return (address.ss_family == AF_INET6 ? '[' + std::string(host) + ']' : host) + ':' + port;
}

/// Asks for as many files as the connections need; how many connections there may be.
unsigned MostConnections() {
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur =
        std::max(files.rlim_cur, std::min<rlim_t>(files.rlim_max, kMostConnections + kOtherFiles));
    setrlimit(RLIMIT_NOFILE, &files);
    const auto free = files.rlim_cur > kOtherFiles ? files.rlim_cur - kOtherFiles : files.rlim_cur / 2;
    return static_cast<unsigned>(std::min<rlim_t>(kMostConnections, free));
}

class Server final : public HttpServer {
public:
    Server(const HttpOptions &options, const Session &session, bool timed)
        : log_(kLogBytes),
          recorder_(MakeRecorder([this](std::string line) { Append(std::move(line)); }, session, timed)),
          listening_(Listen(options)), address_(AddressOf(listening_.Get())), kinds_(KindsText()) {
        daemon_.reset(MHD_start_daemon(
            MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr, &Server::Answer, this,
            MHD_OPTION_LISTEN_SOCKET, fcntl(listening_.Get(), F_DUPFD_CLOEXEC, 3),
            MHD_OPTION_CONNECTION_LIMIT, MostConnections(), MHD_OPTION_CONNECTION_TIMEOUT, kIdleSeconds,
            MHD_OPTION_NOTIFY_COMPLETED, &Server::Completed, this, MHD_OPTION_END));
        if (!daemon_) {
            throw std::runtime_error("--http: the server cannot be started");
        }
        thread_ = std::thread([this] { Run(); });
    }

    ~Server() override { Close(); }

    std::string Url() const override { return "http://" + address_ + "/#" + token_; }

    // ---- The sink: on the gateway's threads, one at a time. ----

    void Show(const Json &line, Moment when) override {
        {
            const std::lock_guard lock(mutex_);
            if (answer_) {
                *answer_ += Dump(line) + '\n';
            }
        }
        recorder_->Show(line, when);
    }
    void Echo(Input what, const Json &input, const std::string &text, Moment when) override {
        recorder_->Echo(what, input, text, when);
    }
    void Heading(const std::string &comment) override { recorder_->Heading(comment); }

    // ---- Requests with lines: on the gateway's thread. ----

    int WakeFd() const override { return lines_wake_.Get(); }

    void CarryOut(Gateway &gateway) override {
        eventfd_t one = 0;
        if (eventfd_read(lines_wake_.Get(), &one) != 0) {
            return;
        }
        Request *request = TakeWaiting();
        if (request == nullptr) {
            return;
        }
        for (std::size_t begin = 0; begin < request->body.size();) {
            const std::size_t end = std::min(request->body.find('\n', begin), request->body.size());
            gateway.Take(request->body.substr(begin, end - begin));
            begin = end + 1;
        }
        const std::lock_guard lock(mutex_);
        Finish(*request, MHD_HTTP_OK, *std::exchange(answer_, {}));
    }

    void Close() override {
        if (!thread_.joinable()) {
            return;
        }
        closing_ = true;
        eventfd_write(wake_.Get(), 1);
        thread_.join();
    }

private:
    struct Request;

    /// What there is at a path.
    struct Endpoint {
        std::string_view path;
        std::string_view method;
        bool guarded;                                 ///< Needs the token.
        Response (Server::*answer)(Request &request); ///< Null: the answer comes later. May throw a Refusal.
    };

    /// A request, from its headers to the end of its answer.
    struct Request {
        explicit Request(MHD_Connection *from) : connection(from) {}

        MHD_Connection *const connection;
        const Endpoint *endpoint = nullptr;
        const PageFile *file = nullptr;
        std::string body;
        bool too_long = false;
        bool waits = false;  ///< For the gateway; the connection is suspended.
        unsigned status = 0; ///< Of the gateway's answer; 0: there is none.
        std::string answer;
    };

    /// A reader's answer that is being sent.
    struct Stream {
        Server &server;
        MHD_Connection *connection;
        LogReader reader;
    };

    static const Endpoint kEndpoints[];
    static const Endpoint kFile;

    /// The next request; from now on its answer is collected. Null for none.
    Request *TakeWaiting() {
        const std::lock_guard lock(mutex_);
        if (waiting_.empty()) {
            return nullptr;
        }
        Request *request = waiting_.front();
        waiting_.pop_front();
        answer_.emplace();
        return request;
    }

    void Append(std::string line) {
        log_.Append(std::move(line));
        eventfd_write(wake_.Get(), 1);
    }

    static std::string KindsText() {
        Json functions = Json::array();
        for (const auto &[function, code] : tqhost::CurrentSettings().failures) {
            functions.push_back(function);
        }
        return Dump({{"lines", HelpJson()}, {"commands", CommandNames()}, {"host_functions", functions}}) +
               '\n';
    }

    // ---- The server's thread. ----

    void Run() {
        const FileDescriptor poll(epoll_create1(EPOLL_CLOEXEC));
        for (const int fd :
             {MHD_get_daemon_info(daemon_.get(), MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd, wake_.Get()}) {
            epoll_event event{};
            event.events = EPOLLIN;
            epoll_ctl(poll.Get(), EPOLL_CTL_ADD, fd, &event);
        }
        auto beat = steady_clock::now() + kBeat;
        std::optional<steady_clock::time_point> end;
        for (;;) {
            MHD_UNSIGNED_LONG_LONG limit = 0;
            const bool limited = MHD_get_timeout(daemon_.get(), &limit) == MHD_YES;
            const auto longest = static_cast<unsigned long long>((end ? kFarewell / 10 : kBeat).count());
            epoll_event event{};
            epoll_wait(poll.Get(), &event, 1, static_cast<int>(limited ? std::min(limit, longest) : longest));
            eventfd_t count = 0;
            eventfd_read(wake_.Get(), &count);
            const auto now = steady_clock::now();
            if (closing_ && !end) {
                end = now + kFarewell;
                RefuseWaiting();
            }
            Resume(now >= beat);
            if (now >= beat) {
                beat = now + kBeat;
            }
            MHD_run(daemon_.get());
            if (end && (readers_ == 0 || now >= *end)) {
                break;
            }
        }
        Resume(false);
        MHD_run(daemon_.get());
        daemon_.reset(); // completes every request
    }

    /// Goes on with the readers that have had all, and with the requests that the gateway has answered.
    void Resume(bool beat) {
        std::vector<MHD_Connection *> answered;
        {
            const std::lock_guard lock(mutex_);
            answered.swap(answered_);
        }
        for (MHD_Connection *connection : answered) {
            MHD_resume_connection(connection);
        }
        for (Stream *stream : std::exchange(idle_, {})) {
            if (beat) {
                stream->reader.Beat();
            }
            MHD_resume_connection(stream->connection);
        }
    }

    void RefuseWaiting() {
        const std::lock_guard lock(mutex_);
        for (Request *request : std::exchange(waiting_, {})) {
            Finish(*request, MHD_HTTP_SERVICE_UNAVAILABLE, Dump({{"error", "the gateway has ended"}}) + '\n');
        }
    }

    /// Has an answer sent. The lock is held.
    void Finish(Request &request, unsigned status, std::string answer) {
        request.status = status;
        request.answer = std::move(answer);
        answered_.push_back(request.connection);
        eventfd_write(wake_.Get(), 1);
    }

    // ---- Called by the library. ----

    static MHD_Result Answer(void *server, MHD_Connection *connection, const char *path, const char *method,
                             const char *, const char *upload, std::size_t *upload_size, void **state) {
        try {
            return static_cast<Server *>(server)->Answer(connection, path, method, {upload, *upload_size},
                                                         *upload_size, *state);
        } catch (const std::exception &) {
            return MHD_NO; // closes the connection
        }
    }

    MHD_Result Answer(MHD_Connection *connection, const std::string &path, const std::string &method,
                      std::string_view upload, std::size_t &left, void *&state) {
        try {
            auto *request = static_cast<Request *>(state);
            if (request == nullptr) {
                state = request = new Request(connection);
                Admit(*request, path, method);
                return MHD_YES;
            }
            if (!upload.empty()) {
                left = 0;
                request->too_long = request->too_long || request->body.size() + upload.size() > kLongestBody;
                request->body.append(request->too_long ? std::string_view() : upload);
                return MHD_YES;
            }
            const Response response = (this->*request->endpoint->answer)(*request);
            if (!response) {
                return MHD_YES;
            }
            const unsigned status = request->status == 0 ? MHD_HTTP_OK : request->status;
            return MHD_queue_response(connection, status, response.get());
        } catch (const Refusal &refusal) {
            return Refuse(connection, refusal);
        }
    }

    /// Finds out what is asked for. Throws a Refusal unless whoever asks may.
    void Admit(Request &request, const std::string &path, const std::string &method) const {
        const auto header = [&](const char *name) { return std::string(HeaderOf(request.connection, name)); };
        const std::string host = header(MHD_HTTP_HEADER_HOST);
        if (!IsOwnHost(host)) {
            throw Refusal{MHD_HTTP_FORBIDDEN, "Host: expected localhost, or an address in numbers"};
        }
        const std::string origin = header(MHD_HTTP_HEADER_ORIGIN);
        if (!origin.empty() && !IsOwnOrigin(origin, host)) {
            throw Refusal{MHD_HTTP_FORBIDDEN, "Origin: expected none, or http://" + host};
        }
        Find(request, path);
        const Endpoint &endpoint = *request.endpoint;
        if (method != endpoint.method && !(method == "HEAD" && endpoint.method == "GET")) {
            throw Refusal{MHD_HTTP_METHOD_NOT_ALLOWED,
                          "expected " + std::string(endpoint.method),
                          {MHD_HTTP_HEADER_ALLOW, endpoint.method.data()}};
        }
        if (endpoint.guarded && !HasToken(header(MHD_HTTP_HEADER_AUTHORIZATION), token_)) {
            throw Refusal{MHD_HTTP_UNAUTHORIZED,
                          "Authorization: expected \"Bearer \" and the token behind the # of the address",
                          {MHD_HTTP_HEADER_WWW_AUTHENTICATE, "Bearer"}};
        }
        if (strtoull(header(MHD_HTTP_HEADER_CONTENT_LENGTH).c_str(), nullptr, 10) > kLongestBody) {
            throw TooLong();
        }
    }

    static void Find(Request &request, const std::string &path);

    static Refusal TooLong() {
        return {MHD_HTTP_CONTENT_TOO_LARGE, "expected at most " + std::to_string(kLongestBody) + " bytes"};
    }

    static MHD_Result Refuse(MHD_Connection *connection, const Refusal &refusal) {
        const Response response =
            TextResponse(Dump({{"error", refusal.reason}}) + '\n', kJsonLines, MHD_RESPMEM_MUST_COPY);
        MHD_add_response_header(response.get(), refusal.header.name, refusal.header.value);
        return MHD_queue_response(connection, refusal.status, response.get());
    }

    static void Completed(void *, MHD_Connection *, void **state, MHD_RequestTerminationCode) {
        delete static_cast<Request *>(*state);
        *state = nullptr;
    }

    // ---- The endpoints. ----

    Response File(Request &request) {
        return TextResponse(request.file->content, TypeOf(request.file->path), MHD_RESPMEM_PERSISTENT);
    }

    Response Kinds(Request &) { return TextResponse(kinds_, "application/json", MHD_RESPMEM_PERSISTENT); }

    Response Lines(Request &request) {
        if (request.too_long) {
            throw TooLong();
        }
        if (!request.waits) {
            const std::lock_guard lock(mutex_);
            if (closing_ || waiting_.size() >= kMostWaiting) {
                throw Refusal{MHD_HTTP_SERVICE_UNAVAILABLE,
                              closing_ ? "the gateway has ended" : "too many requests wait"};
            }
            request.waits = true;
            MHD_suspend_connection(request.connection);
            waiting_.push_back(&request);
            eventfd_write(lines_wake_.Get(), 1);
            return nullptr;
        }
        return TextResponse(request.answer, kJsonLines, MHD_RESPMEM_MUST_COPY);
    }

    Response Events(Request &request) {
        const std::string given(HeaderOf(request.connection, "Last-Event-ID"));
        const std::uint64_t had = strtoull(given.c_str(), nullptr, 10);
        if (given.size() > 18 || had > log_.Last() ||
            given.find_first_not_of("0123456789") != std::string::npos) {
            throw Refusal{MHD_HTTP_BAD_REQUEST,
                          "Last-Event-ID: expected the number of an event that there was"};
        }
        return Streamed(request, LogReader::OfEvents(log_, had + 1), "text/event-stream");
    }

    Response Recording(Request &request) {
        if (log_.From(1)->number > 1) {
            throw Refusal{MHD_HTTP_GONE,
                          "the beginning of the session is forgotten; --record FILE keeps all of it"};
        }
        Response response = Streamed(request, LogReader::OfRecording(log_), kJsonLines);
        MHD_add_response_header(response.get(), MHD_HTTP_HEADER_CONTENT_DISPOSITION,
                                "attachment; filename=\"session.recorded.jsonl\"");
        return response;
    }

    Response Streamed(Request &request, const LogReader &reader, const char *type) {
        if (readers_ >= kMostReaders) {
            throw Refusal{MHD_HTTP_SERVICE_UNAVAILABLE,
                          "there are " + std::to_string(kMostReaders) + " readers already"};
        }
        auto stream = std::make_unique<Stream>(Stream{*this, request.connection, reader});
        Response response =
            Finished(MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kBlock, &Server::Read, stream.get(),
                                                       &Server::EndStream),
                     type);
        static_cast<void>(stream.release()); // it is EndStream's now
        ++readers_;
        return response;
    }

    static ssize_t Read(void *state, std::uint64_t, char *buffer, std::size_t size) {
        Stream &stream = *static_cast<Stream *>(state);
        try {
            return stream.server.Read(stream, buffer, size);
        } catch (const std::exception &) {
            return MHD_CONTENT_READER_END_WITH_ERROR;
        }
    }

    ssize_t Read(Stream &stream, char *buffer, std::size_t size) {
        const std::size_t got = stream.reader.Read(buffer, size);
        if (got > 0) {
            return static_cast<ssize_t>(got);
        }
        if (closing_ || stream.reader.Ends()) {
            return MHD_CONTENT_READER_END_OF_STREAM;
        }
        MHD_suspend_connection(stream.connection);
        idle_.insert(&stream);
        return 0;
    }

    static void EndStream(void *state) {
        const std::unique_ptr<Stream> stream(static_cast<Stream *>(state));
        stream->server.idle_.erase(stream.get());
        --stream->server.readers_;
    }

    EventLog log_;
    const FileDescriptor wake_{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)}; ///< The server's thread.
    const FileDescriptor lines_wake_{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE)};
    const std::unique_ptr<Sink> recorder_;
    const FileDescriptor listening_;
    const std::string address_;
    const std::string token_ = MakeToken();
    const std::string kinds_;
    std::atomic<bool> closing_{false};

    std::mutex mutex_;                  ///< Guards these:
    std::optional<std::string> answer_; ///< To the request that is being carried out; nothing when none is.
    std::deque<Request *> waiting_;
    std::vector<MHD_Connection *> answered_;

    // The server's thread alone:
    std::set<Stream *> idle_; ///< Those who have had all.
    std::size_t readers_ = 0;
    std::unique_ptr<MHD_Daemon, DaemonStop> daemon_;
    std::thread thread_;
};

const Server::Endpoint Server::kEndpoints[] = {
    {"/kinds", "GET", false, &Server::Kinds},
    {"/events", "GET", true, &Server::Events},
    {"/recording", "GET", true, &Server::Recording},
    {"/lines", "POST", true, &Server::Lines},
};
const Server::Endpoint Server::kFile = {"", "GET", false, &Server::File};

void Server::Find(Request &request, const std::string &path) {
    const auto *endpoint = std::find_if(std::begin(kEndpoints), std::end(kEndpoints),
                                        [&](const Endpoint &row) { return row.path == path; });
    request.file = FindPageFile(path == "/" ? "/index.html" : path);
    request.endpoint = endpoint != std::end(kEndpoints) ? endpoint
                       : request.file != nullptr        ? &kFile
                                                        : nullptr;
    if (request.endpoint == nullptr) {
        throw Refusal{MHD_HTTP_NOT_FOUND, "there is nothing of this name"};
    }
}

} // namespace

std::unique_ptr<HttpServer> MakeHttpServer(const HttpOptions &options, const Session &session, bool timed) {
    return std::make_unique<Server>(options, session, timed);
}

} // namespace tqgateway
