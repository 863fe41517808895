#include "MarletMCP/PeerCheck.h"

#include <gtest/gtest.h>

namespace marlet {
namespace {

using boost::asio::ip::make_address_v4;
using boost::asio::ip::make_address_v6;

TEST(PeerCheckTest, onlyTheNameLocalhostIsLocal) {
    EXPECT_TRUE(isLocalPeer("localhost"));
    for (const std::string name : {"", "LOCALHOST", "localhost.", "localhost.example.test", "127.0.0.1"}) {
        EXPECT_FALSE(isLocalPeer(name)) << name;
    }
}

TEST(PeerCheckTest, everyIPv4LoopbackAddressIsLocal) {
    EXPECT_TRUE(isLocalPeer(make_address_v4("127.0.0.1")));
    EXPECT_TRUE(isLocalPeer(make_address_v4("127.255.0.9")));
    EXPECT_FALSE(isLocalPeer(make_address_v4("0.0.0.0")));
    EXPECT_FALSE(isLocalPeer(make_address_v4("192.168.0.1")));
    EXPECT_FALSE(isLocalPeer(make_address_v4("128.0.0.1")));
}

TEST(PeerCheckTest, theIPv6LoopbackAndOneMappedAddressAreLocal) {
    EXPECT_TRUE(isLocalPeer(make_address_v6("::1")));
    EXPECT_TRUE(isLocalPeer(make_address_v6("::ffff:127.0.0.1")));
    EXPECT_FALSE(isLocalPeer(make_address_v6("::ffff:127.0.0.2")));
    EXPECT_FALSE(isLocalPeer(make_address_v6("::ffff:192.168.0.1")));
    EXPECT_FALSE(isLocalPeer(make_address_v6("::")));
    EXPECT_FALSE(isLocalPeer(make_address_v6("fe80::1")));
}

}  // namespace
}  // namespace marlet
