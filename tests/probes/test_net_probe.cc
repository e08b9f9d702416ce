// The tables of the network section, whole: dumps from the played door, commands from stand-ins
// on PATH.
#include <gtest/gtest.h>

#include "probes/net_conf_linux.h"
#include "probes/net_iptables_linux.h"
#include "probes/net_probe.h"
#include "tests/doors/fake_net_socket.h"
#include "tests/probes/netlink_messages.h"
#include "tests/probes/report_rows.h"

namespace kestrel {
namespace {

using namespace std::string_literals;

const std::string k_peer = "\x0a\x09\x08\x02"s;
const std::string k_local = "\xc0\0\x02\x0b"s;

class NetProbe : public ::testing::Test {
 protected:
  NetProbe() {
    played_netlink& played = fake_netlink();
    played = {};
    std::string lo = message(
        RTM_NEWLINK, link_header(772, 1, 0x10049) + attribute(IFLA_IFNAME, "lo") +
                         attribute(IFLA_ADDRESS, std::string(6, '\0')) +
                         attribute(IFLA_MTU, raw<uint32_t>(65536)) +
                         attribute(IFLA_STATS, raw<uint32_t>(4294967295u) + std::string(88, '\0')));
    std::string tun =
        message(RTM_NEWLINK, link_header(65534, 7, 0x1091) + attribute(IFLA_IFNAME, "tun0"));
    played.datagrams[RTM_GETLINK] = {lo + tun, done()};
    played.datagrams[RTM_GETADDR] = {
        message(RTM_NEWADDR, address_header(AF_INET, 26, 1) + attribute(IFA_ADDRESS, k_peer) +
                                 attribute(IFA_LOCAL, k_local) +
                                 attribute(IFA_BROADCAST, "\xc0\0\x02\x3f"s) +
                                 attribute(IFA_LABEL, "lo:1")) +
        message(RTM_NEWADDR, address_header(AF_INET, 0, 1)) +
        message(RTM_NEWADDR, address_header(AF_INET, 32, 9) + attribute(IFA_LOCAL, "\x7f\0\0"s)) +
        message(RTM_NEWADDR, address_header(AF_INET6, 1, 7) +
                                 attribute(IFA_LOCAL, std::string(15, '\0') + '\1')) +
        done()};
    played.datagrams[RTM_GETROUTE] = {
        message(RTM_NEWROUTE,
                route_header(0, 0, RTN_UNICAST) + attribute(RTA_DST, k_peer) +
                    attribute(RTA_SRC, k_peer) + attribute(RTA_IIF, raw<uint32_t>(1)) +
                    attribute(RTA_GATEWAY, "\xc0\0\x02\x01"s) + attribute(RTA_PREFSRC, k_peer) +
                    attribute(RTA_OIF, raw<uint32_t>(7))) +
            message(RTM_NEWROUTE, route_header(25, 254, RTN_BLACKHOLE) +
                                      attribute(RTA_DST, "\xc6\x33\x64\x80"s)) +
            message(RTM_NEWROUTE, route_header(32, 200, 12) + attribute(RTA_DST, k_local)),
        done()};
  }

  // Tasks and probes live as long as the program.
  static net_probe& subject() {
    static probe_group group("NETWORK TEST", 16, nullptr, true);
    static net_probe probe(group, "NETWORK", 3, 1);
    return probe;
  }
  net_probe& probe_ = subject();
};

TEST_F(NetProbe, TablesHaveARowARecord) {
  probe_.make_interface_list();
  EXPECT_EQ(report_of([&](FILE* out) { probe_.scan_link(out); }),
            "Network Interfaces\nlo|loopback|00:00:00:00:00:00|UP RUNNING LOOPBACK|65536|\n"
            "tun0|uknown type 65534||UP POINTOPOINT MULTICAST NOARP|0|\n");
  EXPECT_EQ(report_of([&](FILE* out) { probe_.scan_link_stats(out); }),
            "Network Interface Statistics\nlo|4294967295|0|0|0|0|0|0|0|0|0|\n"
            "tun0|0|0|0|0|0|0|0|0|0|0|\n");
  EXPECT_EQ(report_of([&](FILE* out) { probe_.scan_address(out); }),
            "Network Addresses\nlo:1|inet|192.0.2.11|255.255.255.192|192.0.2.63|lo|\n"
            "|||0.0.0.0||lo|\n|inet||255.255.255.255||unknown|\n|inet6|::1|128.0.0.0||tun0|\n");
  EXPECT_EQ(report_of([&](FILE* out) { EXPECT_TRUE(probe_.scan_route(out)); }),
            "Network Routing Table\ndefault|192.0.2.1|0.0.0.0|universe|unicast|tun0|\n"
            "198.51.100.128||255.255.255.128|host|drop|unknown|\n"
            "192.0.2.11||255.255.255.255|200|0xc|unknown|\n");
  EXPECT_EQ(fake_netlink().open, 0);
}

TEST_F(NetProbe, FailuresLeaveTheHeadingsAndTheRowsBefore) {
  fake_netlink().datagrams[RTM_GETROUTE].pop_back();
  const auto routes = [&](FILE* out) { EXPECT_FALSE(probe_.scan_route(out)); };
  EXPECT_NE(report_of(routes).find("198.51.100.128"), std::string::npos);
  fake_netlink().refuses_request = true;
  EXPECT_EQ(report_of([&](FILE* out) { probe_.scan_address(out); }), "Network Addresses\n");
  fake_netlink().refuses_socket = true;
  EXPECT_EQ(report_of(routes), "Network Routing Table\n");
  probe_.make_interface_list();
  EXPECT_EQ(report_of([&](FILE* out) { probe_.scan_link(out); }), "Network Interfaces\n");
}

TEST(NetCommands, OnlyItsOwnFailureMeansNoIptables) {
  command_stand_ins commands;
  const std::pair<const char*, bool> cases[] = {
      {"exit 0",                                         true },
      {"echo 'Chain INPUT'; exit 4",                     false},
      {"exit 141",                                       true },
      {"kill -PIPE $$",                                  true },
      {"while echo 'Chain INPUT'; do :; done; exit 141", true },
      {"echo 'no table'; sleep 0.2; echo more; exit 3",  false},
  };
  for (const auto& [script, there] : cases) {
    commands.add("iptables", script);
    EXPECT_EQ(has_iptables(), there) << script;
  }
}

TEST(NetCommands, HostsKeepsLinesInNoEncoding) {
  command_stand_ins commands;
  commands.add("cat", R"sh(printf '# note\n\n127.0.0.1\tlocalhost me # not this\n';)sh"
                      R"sh(printf '1.2.3.4 caf\351\n::1 a\0b\n9.9.9.9 last')sh");
  EXPECT_EQ(report_of(write_hosts),
            "Hosts File\n127.0.0.1|localhost|\n127.0.0.1|me|\n1.2.3.4|caf\uFFFD|\n::1|a|\n"
            "9.9.9.9|last|\n");
}

TEST(NetLines, RulesOfAnyShapeAreCut) {
  iptables_rule rule = parse_iptables_rule("");
  EXPECT_EQ(rule.number, 0);
  EXPECT_EQ(rule.filter, "");
  // The first field is not searched for behind blanks; nine blanks hold no empty target.
  rule = parse_iptables_rule(" 7 0x10         LOG\ttcp");
  EXPECT_EQ(rule.number, 0);
  EXPECT_EQ(rule.packets, 7);
  EXPECT_EQ(rule.bytes, 16);
  EXPECT_EQ(rule.target, "LOG");
  EXPECT_EQ(rule.protocol, "tcp");
  rule = parse_iptables_rule("3 99999999999999999999 1 " + std::string(300, 't') + " " +
                             std::string(40, 'p') + " o i u " + std::string(70, 's') + " d " +
                             std::string(500, 'f'));
  EXPECT_EQ(rule.packets, 2147483647);
  EXPECT_EQ(rule.target, std::string(31, 't'));
  EXPECT_EQ(rule.protocol, std::string(31, 't'));
  EXPECT_EQ(rule.options, std::string(31, 'p'));
  EXPECT_EQ(rule.destination, std::string(63, 's'));
  EXPECT_EQ(rule.filter, "d " + std::string(125, 'f'));
}

template <class Row>
std::string joined(const std::vector<Row>& rows) {
  std::string text;
  for (const auto& [key, value] : rows) text += key + ("|" + value) + "\n";
  return text;
}

TEST(NetLines, Hosts) {
  EXPECT_EQ(joined(parse_hosts_line("10.0.0.1 # a")), "");
  EXPECT_EQ(joined(parse_hosts_line(" \t10.0.0.1\t a\v b#c \r")), "10.0.0.1|a\n10.0.0.1|b#c\n");
  EXPECT_EQ(joined(parse_hosts_line("")), "");
  const std::string ip(63, '1');
  EXPECT_EQ(joined(parse_hosts_line(std::string(70, '1') + " " + std::string(130, 'n'))),
            ip + "|1111111\n" + ip + "|" + std::string(128, 'n') + "\n" + ip + "|nn\n");
}

TEST(NetLines, Resolver) {
  EXPECT_EQ(joined(parse_resolver_line("search a.example\tb.example # d")),
            "Host-name lookup search domain|a.example\nHost-name lookup search domain|b.example\n");
  EXPECT_EQ(joined(parse_resolver_line(" nameservers 192.0.2.1")),
            "DNS Name Server|s\nDNS Name Server|192.0.2.1\n");
  EXPECT_EQ(joined(parse_resolver_line("nameserver")), "");
  EXPECT_EQ(joined(parse_resolver_line("domain example")), "");
}

}  // namespace
}  // namespace kestrel
