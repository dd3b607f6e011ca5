#pragma once

// What kind of port a name stands for.

#include <string>
#include <string_view>

namespace vlp {

// True if the name begins, in any case of letters, with a prefix of a local port that
// can be served.
bool HasLocalPrefix(const std::string& port);

// True if the name is, letter by letter, one of the system's standard TCP/IP ports.
bool IsTcpIpPort(std::string_view port);

// True if the name begins with "LPT" and is redirected to a network printer. A port of
// a remote desktop client counts as local.
bool IsNetworkLpt(const std::string& port);

}  // namespace vlp
