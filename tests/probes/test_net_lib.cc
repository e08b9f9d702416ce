// The netlink layer: requests, dumps through the played door, link messages.
#include <gtest/gtest.h>

#include <cerrno>

#include "lib/debug.h"
#include "lib/interface.h"
#include "probes/net_lib_linux.h"
#include "probes/net_link_linux.h"
#include "probes/net_route_linux.h"
#include "tests/doors/fake_net_socket.h"
#include "tests/lib/report_capture.h"
#include "tests/probes/netlink_messages.h"

namespace kestrel {
namespace {

using namespace std::string_literals;

byte_span bytes_of(const std::string& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

std::string tun_message() {
  return message(RTM_NEWLINK, link_header(65534, 7, 0x1091) + attribute(IFLA_IFNAME, "tun0") +
                                  attribute(IFLA_MTU, raw<uint32_t>(1400)));
}
std::string ether_message(int flags = NLM_F_MULTI) {
  return message(RTM_NEWLINK,
                 link_header(1, 2, 0x11043) + attribute(IFLA_IFNAME, "eth0") +
                     attribute(IFLA_ADDRESS, "\x52\x54\0\x12\x34\xff"s) +
                     attribute(IFLA_MTU, raw<uint32_t>(4000000000)) +
                     attribute(IFLA_STATS, raw<uint32_t>(3000000000) + raw<uint32_t>(12)),
                 flags);
}

// The names of the dump's interfaces, then whether it came to its end.
std::string dump_links(std::vector<std::string> datagrams) {
  fake_netlink() = {};
  fake_netlink().datagrams[RTM_GETLINK] = std::move(datagrams);
  const netlink_ptr nlb = netlink_open();
  std::string names;
  while (const auto link = rtnl_next_link(*nlb)) names += link->name + " ";
  return names + (nlb->is_complete ? "1" : "-1");
}

TEST(NetLib, RequestHasTheLaidDownBytes) {
  fake_netlink() = {};
  EXPECT_FALSE(rtnl_next_route(*netlink_open()));
  const std::vector<unsigned char>& request = fake_netlink().request;
  EXPECT_EQ(std::string(request.begin(), request.end()),
            "\x14\0\0\0\x1a\0\x01\x05\x01\0\0\0\0\0\0\0\x02\0\0\0"s);
}

TEST(NetLib, DumpGoesOnUntilItsEndOrTheFirstLie) {
  std::string error = message(NLMSG_ERROR, raw<int32_t>(-95) + std::string(16, '\0'));
  std::string tiny = tun_message();
  tiny[0] = 15;
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{ether_message() + tun_message(), done()},                      "eth0 tun0 1"},
      {{ether_message(NLM_F_DUMP_INTR), tun_message() + done()},       "eth0 tun0 1"},
      {{tun_message() + error},                                        "tun0 -1"    },
      {{error.substr(0, 16)},                                          "-1"         },
      {{tun_message() + message(NLMSG_NOOP, "") + done()},             "tun0 -1"    },
      {{tun_message() + message(RTM_NEWADDR, std::string(24, '\0'))},  "tun0 -1"    },
      {{tun_message()},                                                "tun0 -1"    },
      {{tun_message() + std::string(3, '\xff')},                       "tun0 -1"    },
      {{tiny},                                                         "-1"         },
      {{message(RTM_NEWLINK, std::string(15, 'x')), done()},           "-1"         },
      {{tun_message() + message(RTM_NEWLINK, std::string(9000, 'x'))}, "tun0 -1"    },
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(dump_links(cases[i].first), cases[i].second) << "case " << i;
  }
}

// An interface whose message exceeds the buffer hides itself and all behind it; the log says so.
TEST(NetLib, ErrorsOfTheKernelAreNamedInTheLog) {
  const auto logged = [](std::string datagram) {
    return written_by([&](FILE* log) {
      enable_log_to_stream(log);
      dump_links({std::move(datagram)});
      disable_log_to_stream();
    });
  };
  const std::string cut_short =
      logged(tun_message() + message(NLMSG_DONE, raw<int32_t>(-EMSGSIZE)));
  EXPECT_NE(cut_short.find("net: the dump is incomplete: Message too long\n"), std::string::npos);
  EXPECT_EQ(logged(tun_message() + done()).find("incomplete"), std::string::npos);
  EXPECT_EQ(logged(message(NLMSG_DONE, "")).find("incomplete"), std::string::npos);
  EXPECT_NE(logged(message(NLMSG_ERROR, raw<int32_t>(-EPERM)))
                .find("net: RTM_GETLINK: Operation not permitted\n"),
            std::string::npos);
  logged(message(NLMSG_ERROR, raw<int32_t>(INT32_MIN)));
}

TEST(NetLib, DatagramCutAnywhereGivesOnlyWholeMessages) {
  size_t first = ether_message().size();
  std::string both = ether_message() + tun_message();
  for (size_t length = 1; length < both.size(); ++length) {
    const char* seen = length < first ? "-1" : length == first ? "eth0 1" : "eth0 -1";
    EXPECT_EQ(dump_links({both.substr(0, length), done()}), seen) << length;
  }
}

// The record of a message without its netlink header.
std::optional<rtnl_link_info> parse(const std::string& payload) {
  return parse_link_message(bytes_of(payload));
}

std::string shown(const std::optional<rtnl_link_info>& link) {
  if (!link) return "none";
  std::string text = link->type + "|" + link->address + "|" + link->flags;
  for (uint32_t number : {link->mtu, link->stats[0], link->stats[1], link->stats[22]}) {
    text += "|" + std::to_string(number);
  }
  return text;
}

TEST(NetLink, RecordIsTakenWholeAndStartsEmpty) {
  EXPECT_EQ(shown(parse(ether_message().substr(16))),
            "ether|52:54:00:12:34:ff|UP RUNNING BROADCAST MULTICAST|4000000000|3000000000|12|0");
  const auto tun = parse(tun_message().substr(16));
  EXPECT_EQ(shown(tun), "uknown type 65534||UP POINTOPOINT MULTICAST NOARP|1400|0|0|0");
  EXPECT_EQ(tun->index, 7);
}

TEST(NetLink, OversizedValuesAreCutAndShortOnesDropped) {
  const auto link =
      parse(link_header(801, -1, 0xffffffff) + attribute(IFLA_IFNAME, std::string(40, 'n')) +
            attribute(IFLA_ADDRESS, "\x80\0\0\x48\xfe\x80"s + std::string(14, '\x1')) +
            attribute(IFLA_MTU, "\xff\xff\xff"s) + attribute(IFLA_STATS, std::string(200, '\x1')));
  EXPECT_EQ(shown(link),
            "ieee802.11|80:00:00:48:fe:80:01:01:|"
            "UP RUNNING LOOPBACK BROADCAST POINTOPOINT MULTICAST NOARP ALLMULTI PROMISC MASTER "
            "SLAVE DEBUG DYNAMIC AUTOMEDIA PORTSEL NOTRAILER|0|16843009|16843009|16843009");
  EXPECT_EQ(link->name, std::string(16, 'n'));
}

TEST(NetLink, AttributesEndAtALengthThatCannotBeTrue) {
  for (int length : {0, 3, 9, 0xffff}) {
    const auto link =
        parse(link_header(1, 3, 0) + attribute(IFLA_IFNAME, "eth1") +
              raw(static_cast<uint16_t>(length)) + raw<uint16_t>(IFLA_MTU) + raw<uint32_t>(1500));
    EXPECT_EQ(link->name + std::to_string(link->mtu), "eth10") << length;
  }
}

}  // namespace
}  // namespace kestrel
