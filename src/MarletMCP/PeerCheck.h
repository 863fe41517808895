#pragma once

#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/ip/address_v6.hpp>
#include <string>
#include <variant>

namespace marlet {

// Where a connection comes from: a host name or an address.
using RemoteHost = std::variant<std::string, boost::asio::ip::address_v4, boost::asio::ip::address_v6>;

// True for this computer alone.
bool isLocalPeer(const RemoteHost& host);

}  // namespace marlet
