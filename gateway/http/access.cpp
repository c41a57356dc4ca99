// SPDX-License-Identifier: Apache-2.0
// The token, Host and Origin.
#include "http/access.h"

#include <cerrno>
#include <regex>
#include <system_error>

#include <arpa/inet.h>
#include <sys/random.h>

namespace tqgateway {
namespace {

constexpr std::string_view kScheme = "Bearer ";

bool IsNumeric(int family, const std::string &address) {
    in6_addr parsed; // the larger one
    return inet_pton(family, address.c_str(), &parsed) == 1;
}

} // namespace

std::string MakeToken() {
    unsigned char bytes[16];
    if (getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes)) {
        throw std::system_error(errno, std::generic_category(), "cannot make a token");
    }
    std::string token;
    for (const unsigned char byte : bytes) {
        token += "0123456789abcdef"[byte >> 4];
        token += "0123456789abcdef"[byte & 15];
    }
    return token;
}

bool HasToken(std::string_view authorization, std::string_view token) {
    if (authorization.size() != kScheme.size() + token.size()) {
        return false;
    }
    unsigned char differs = authorization.substr(0, kScheme.size()) != kScheme ? 1 : 0;
    for (std::size_t i = 0; i < token.size(); ++i) {
        differs = static_cast<unsigned char>(differs | (authorization[kScheme.size() + i] ^ token[i]));
    }
    return differs == 0;
}

bool IsOwnHost(const std::string &host) {
    static const std::regex kHost(R"((?:\[([0-9a-fA-F:.]+)\]|([0-9.]+)|localhost)(?::[0-9]{1,5})?)");
    std::smatch match;
    return std::regex_match(host, match, kHost) && (!match[1].matched || IsNumeric(AF_INET6, match[1])) &&
           (!match[2].matched || IsNumeric(AF_INET, match[2]));
}

bool IsOwnOrigin(std::string_view origin, std::string_view host) {
    constexpr std::string_view kHttp = "http://";
    return origin.substr(0, kHttp.size()) == kHttp && origin.substr(kHttp.size()) == host;
}

} // namespace tqgateway
