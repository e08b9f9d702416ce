// See net_probe.h. Each dump has a conversation of its own, closed before the next one opens.
#include "probes/net_probe.h"

#include <unistd.h>

#include <algorithm>

#include "lib/debug.h"
#include "lib/file.h"
#include "lib/getline.h"
#include "lib/table.h"
#include "lib/utilstr.h"
#include "probes/net_addr_linux.h"
#include "probes/net_conf_linux.h"
#include "probes/net_iptables_linux.h"
#include "probes/net_route_linux.h"

namespace kestrel {
namespace {

constexpr column k_interface_columns[] = {
    {"Interface", DT_ASCII,   16 },
    {"Type",      DT_ASCII,   16 },
    {"Address",   DT_ASCII,   32 },
    {"Flags",     DT_ASCII,   130},
    {"MTU",       DT_INTEGER, 0  },
};

constexpr column k_statistics_columns[] = {
    {"Name",       DT_ASCII,   16},
    {"rx packets", DT_INTEGER, 0 },
    {"tx packets", DT_INTEGER, 0 },
    {"rx bytes",   DT_INTEGER, 0 },
    {"tx bytes",   DT_INTEGER, 0 },
    {"rx errors",  DT_INTEGER, 0 },
    {"tx errors",  DT_INTEGER, 0 },
    {"rx dropped", DT_INTEGER, 0 },
    {"tx dropped", DT_INTEGER, 0 },
    {"multicast",  DT_INTEGER, 0 },
    {"collisions", DT_INTEGER, 0 },
};
constexpr size_t k_reported_counters = 10;

constexpr column k_address_columns[] = {
    {"Name",      DT_ASCII, 16},
    {"Family",    DT_ASCII, 16},
    {"Address",   DT_ASCII, 46},
    {"Netmask",   DT_ASCII, 46},
    {"Broadcast", DT_ASCII, 46},
    {"Interface", DT_ASCII, 16},
};

constexpr column k_route_columns[] = {
    {"Destination", DT_ASCII, 46},
    {"Gateway",     DT_ASCII, 46},
    {"Netmask",     DT_ASCII, 46},
    {"Scope",       DT_ASCII, 16},
    {"Type",        DT_ASCII, 16},
    {"Interface",   DT_ASCII, 16},
};

const char* name_or_unknown(const rtnl_link_info* link) {
  return link != nullptr ? link->name : "unknown";
}

void write_address(Table& table, const rtnl_addr_info& info, const char* interface) {
  table.start_row(info.label);
  for (const char* text :
       {info.label, info.family, info.address, info.netmask, info.broadcast, interface}) {
    table.log_data(text);
  }
  table.end_row();
}

void write_route(Table& table, const rtnl_route_info& route, const char* interface) {
  table.start_row(route.destination);
  for (const char* text :
       {route.destination, route.gateway, route.netmask, route.scope, route.type, interface}) {
    table.log_data(text);
  }
  table.end_row();
}

}  // namespace

void net_probe::add_interface(const rtnl_link_info& link) { interfaces_.push_back(link); }

const rtnl_link_info* net_probe::find_interface(int index) const {
  for (const rtnl_link_info& link : interfaces_) {
    printd("find: %p\n", static_cast<const void*>(&link));
    printd("find: %i == %i\n", link.index, index);
    if (link.index == index) return &link;
  }
  return nullptr;
}

void net_probe::make_interface_list() {
  interfaces_.clear();
  netlink_ptr nlb = netlink_open();
  printd("make_interface_list %i\n", nlb != nullptr ? 0 : -1);
  if (nlb == nullptr) return;
  for (;;) {
    rtnl_link_info link;
    printd("net: doing rtnl_next_link\n");
    if (rtnl_next_link(nlb.get(), &link) != 0) break;
    printd("ADDING AN INTERFACE\n");
    add_interface(link);
  }
  trace_hidden_interfaces();
}

void net_probe::trace_hidden_interfaces() const {
  const file_ptr in = is_logging() ? open_for_reading("/proc/net/dev") : nullptr;
  if (in == nullptr) return;
  for_each_line(in.get(), "net", [this](const std::string& line) {
    const size_t end = line.find(':');
    if (end == std::string::npos) return;  // the heading
    const std::string wanted(trim_whitespace(std::string_view(line).substr(0, end)));
    const auto is_wanted = [&](const rtnl_link_info& link) { return wanted == link.name; };
    if (std::any_of(interfaces_.begin(), interfaces_.end(), is_wanted)) return;
    printd("net: %s is missing in the dump\n", wanted.c_str());
  });
}

void net_probe::scan_link(FILE* fp) {
  Table table(fp, "Network Interfaces");
  table.declare(k_interface_columns);
  for (const rtnl_link_info& link : interfaces_) {
    table.start_row(link.name);
    for (const char* text : {link.name, link.type, link.address, link.flags}) table.log_data(text);
    table.log_data(link.mtu);
    table.end_row();
  }
}

void net_probe::scan_link_stats(FILE* fp) {
  Table table(fp, "Network Interface Statistics");
  table.declare(k_statistics_columns);
  for (const rtnl_link_info& link : interfaces_) {
    table.start_row(link.name);
    table.log_data(link.name);
    for (size_t i = 0; i < k_reported_counters; ++i) {
      table.log_data(link.stats[i]);
    }
    table.end_row();
  }
}

void net_probe::scan_address(FILE* fp) {
  Table table(fp, "Network Addresses");
  table.declare(k_address_columns);
  netlink_ptr nlb = netlink_open();
  if (nlb == nullptr) return;
  rtnl_addr_info info;
  while (rtnl_next_addr(nlb.get(), &info) == 0) {
    write_address(table, info, name_or_unknown(find_interface(info.index)));
  }
}

bool net_probe::scan_iptables(FILE* fp) { return has_iptables() && write_iptables_chains(fp); }

bool net_probe::scan_route(FILE* fp) {
  Table table(fp, "Network Routing Table");
  table.declare(k_route_columns);
  netlink_ptr nlb = netlink_open();
  printd("route: rc = %i\n", nlb != nullptr ? 0 : -1);
  if (nlb == nullptr) return false;
  for (;;) {
    rtnl_route_info route;
    int rc = rtnl_next_route(nlb.get(), &route);
    if (rc != 0) return rc == 1;
    const rtnl_link_info* link = find_interface(static_cast<int>(route.output_interface));
    printd("route: got %p from %i\n", static_cast<const void*>(link),
           static_cast<int>(route.output_interface));
    write_route(table, route, name_or_unknown(link));
  }
}

bool net_probe::run(FILE* fp) {
  make_interface_list();
  scan_link(fp);
  scan_link_stats(fp);
  scan_address(fp);
  scan_iptables(fp);
  printd("checking network routing table\n");
  return scan_route(fp);
}

bool hosts_probe::test() { return access("/etc/hosts", R_OK) == 0; }

bool hosts_probe::run(FILE* fp) {
  write_hosts(fp);
  return true;
}

bool resolv_probe::test() { return access("/etc/resolv.conf", R_OK) == 0; }

bool resolv_probe::run(FILE* fp) {
  write_resolver(fp);
  return true;
}

}  // namespace kestrel
