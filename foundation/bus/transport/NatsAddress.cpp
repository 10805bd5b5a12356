#include "foundation/bus/transport/NatsAddress.h"

#include "foundation/platform/Text.h"

#include <charconv>

namespace alidade {
namespace {

int Refuse(CString& error, const CString& text)
{
    error = L"The address of the NATS server is wrong: " + text;
    return 0;
}

/// Text with %XX replaced; false for a % that no two hexadecimal digits follow.
bool Unescape(std::string_view text, CStringA& out)
{
    out.clear();
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned value = static_cast<unsigned char>(text[i]);
        if (text[i] == '%') {
            if (i + 2 >= text.size()) {
                return false;
            }
            const char* end = text.data() + i + 3;
            const auto [stop, failed] = std::from_chars(text.data() + i + 1, end, value, 16);
            if (failed != std::errc() || stop != end) {
                return false;
            }
            i += 2;
        }
        out.push_back(static_cast<char>(value));
    }
    return out.find('\0') == out.npos;
}

int ParseServer(std::string_view text, T_NATS_ADDRESS& address, CString& error)
{
    for (const std::string_view scheme : {"nats://", "tls://"}) {
        if (text.starts_with(scheme)) {
            text.remove_prefix(scheme.size());
        }
    }
    // The colon of a port stands behind the bracket of a host that is a number of several.
    const std::size_t bracket = text.rfind(']');
    std::size_t colon = text.rfind(':');
    if (colon != text.npos && bracket != text.npos && colon < bracket) {
        colon = text.npos;
    }
    const std::string_view host = text.substr(0, colon);
    unsigned port = 4222;
    if (colon != text.npos) {
        const char* end = text.data() + text.size();
        const auto [stop, failed] = std::from_chars(text.data() + colon + 1, end, port);
        if (failed != std::errc() || stop != end || port == 0 || port > 65535) {
            return Refuse(error, L"\"" + ToWide(text.substr(colon + 1)) + L"\" is no port");
        }
    }
    if (host.empty() || host.find_first_of("@/ \t\"<>\\") != host.npos) {
        return Refuse(error, L"\"" + ToWide(host) + L"\" is no host");
    }
    address.servers.push_back((address.tls ? "tls://" : "nats://") + CStringA(host) + ":" +
                              std::to_string(port));
    return 1;
}

int ParseOption(std::string_view option, T_NATS_ADDRESS& address, CString& error)
{
    const std::size_t equals = option.find('=');
    const std::string_view key = option.substr(0, equals);
    CStringA value;
    if (equals == option.npos || !Unescape(option.substr(equals + 1), value) || value.empty()) {
        return Refuse(error, L"the option \"" + ToWide(key) + L"\" has no value");
    }
    if (key == "ca") {
        address.caFile = value;
        return 1;
    }
    if (key == "bus") {
        constexpr const char* kAllowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
        if (value.size() > 64 || value.find_first_not_of(kAllowed) != value.npos) {
            return Refuse(error, L"a bus is named by up to 64 letters, digits, dashes and underscores");
        }
        address.bus = value;
        return 1;
    }
    return Refuse(error, L"there is no option \"" + ToWide(key) + L"\"; there are ca and bus");
}

template <typename F>
int ForEachPart(std::string_view text, char separator, F function)
{
    for (;;) {
        const std::size_t end = text.find(separator);
        if (!function(text.substr(0, end))) {
            return 0;
        }
        if (end == text.npos) {
            return 1;
        }
        text.remove_prefix(end + 1);
    }
}

} // namespace

int ParseNatsAddress(std::string_view text, T_NATS_ADDRESS& address, CString& error)
{
    address = {};
    address.tls = text.starts_with("tls://");
    if (!address.tls && !text.starts_with("nats://")) {
        return Refuse(error, L"it does not begin with nats:// or tls://");
    }
    text.remove_prefix(text.find("//") + 2);
    if (const std::size_t question = text.find('?'); question != text.npos) {
        const auto parse = [&](std::string_view option) { return ParseOption(option, address, error); };
        if (!ForEachPart(text.substr(question + 1), '&', parse)) {
            return 0;
        }
        text = text.substr(0, question);
    }
    if (const std::size_t at = text.rfind('@'); at != text.npos) {
        const std::string_view who = text.substr(0, at);
        const std::size_t colon = who.find(':');
        const bool good = colon == who.npos ? Unescape(who, address.token) && !address.token.empty()
                                            : Unescape(who.substr(0, colon), address.user) &&
                                                  Unescape(who.substr(colon + 1), address.password) &&
                                                  !address.user.empty();
        if (!good) {
            return Refuse(error, L"what stands before @ is neither user:password nor a token");
        }
        text.remove_prefix(at + 1);
    }
    while (text.ends_with('/')) {
        text.remove_suffix(1);
    }
    return ForEachPart(text, ',',
                       [&](std::string_view server) { return ParseServer(server, address, error); });
}

} // namespace alidade
