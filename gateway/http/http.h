// SPDX-License-Identifier: Apache-2.0
/// @file http.h  The gateway's page, and the lines of a session, over HTTP.
#ifndef TQGATEWAY_HTTP_HTTP_H
#define TQGATEWAY_HTTP_HTTP_H

#include <cstdint>
#include <memory>
#include <string>

#include "gateway.h"
#include "output/output.h"

namespace tqgateway {

struct HttpOptions {
    std::string address = "127.0.0.1"; ///< A number, not a name.
    std::uint16_t port = 0;            ///< 0: a free one.
};

/// Serves on a thread of its own; no reader and no request holds up the gateway.
///
///     GET /            the page, and the files that it consists of
///     GET /kinds       which lines there are
///     GET /events      the session as it happens: the lines of its recording, numbered from 1
///     GET /recording   the same lines until now, as `replay` takes them
///     POST /lines      lines in; the answer has the lines out
///
/// The last three need the token. As a sink it keeps what a recording would have, in 64 MiB; what is older is
/// forgotten, and a reader that has not had it then is told how many lines it missed.
class HttpServer : public Sink {
public:
    /// Where a browser finds the page: the token is behind the `#`, so no request has it in its address.
    virtual std::string Url() const = 0;

    /// Readable when a request has lines for the gateway, of which CarryOut takes those of one request.
    virtual int WakeFd() const = 0;
    virtual void CarryOut(Gateway &gateway) = 0;

    /// Sends readers what they have not had yet, for half a second at most, and ends.
    virtual void Close() = 0;
};

/// A server that listens. Throws std::invalid_argument where it cannot, and when the program was built
/// without HTTP.
std::unique_ptr<HttpServer> MakeHttpServer(const HttpOptions &options, const Session &session, bool timed);

} // namespace tqgateway

#endif
