#include "MarletMCP/PeerCheck.h"

namespace marlet {
namespace {

using boost::asio::ip::address_v4;
using boost::asio::ip::address_v6;

// Of the IPv4 addresses written as IPv6 ones only this one is taken.
const address_v6& mappedLoopback() {
    static const address_v6 address = boost::asio::ip::make_address_v6("::ffff:127.0.0.1");
    return address;
}

struct IsLocal {
    bool operator()(const std::string& name) const { return name == "localhost"; }
    bool operator()(const address_v4& address) const { return address.is_loopback(); }
    bool operator()(const address_v6& address) const { return address.is_loopback() || address == mappedLoopback(); }
};

}  // namespace

bool isLocalPeer(const RemoteHost& host) {
    return std::visit(IsLocal(), host);
}

}  // namespace marlet
