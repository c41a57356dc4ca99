// SPDX-License-Identifier: Apache-2.0
// Stands in for http.cpp where there is no HTTP library.
#include "http/http.h"

#include <stdexcept>

namespace tqgateway {

std::unique_ptr<HttpServer> MakeHttpServer(const HttpOptions &, const Session &, bool) {
    throw std::invalid_argument("--http: this program was built without HTTP; install libmicrohttpd-dev, "
                                "configure and build it again");
}

} // namespace tqgateway
