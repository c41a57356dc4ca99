// SPDX-License-Identifier: Apache-2.0
/// @file access.h  Who may ask: the token, and whether a request is the page's own.
#ifndef TQGATEWAY_HTTP_ACCESS_H
#define TQGATEWAY_HTTP_ACCESS_H

#include <string>
#include <string_view>

namespace tqgateway {

/// 128 random bits, as 32 digits. Throws std::system_error.
std::string MakeToken();

/// Whether an Authorization header is "Bearer " and the token. Takes the same time for all of a length.
bool HasToken(std::string_view authorization, std::string_view token);

/// Whether a Host header names this machine by a number or as localhost. A page from elsewhere can have its
/// own name lead here, but no such host.
bool IsOwnHost(const std::string &host);

/// Whether an Origin header is that of the page that this host serves.
bool IsOwnOrigin(std::string_view origin, std::string_view host);

} // namespace tqgateway

#endif
