// The tables of the network section: which columns each has, and the dumps that fill it. Each dump
// has a conversation of its own, closed before the next one opens.
#include "probes/net_probe.h"

#include <unistd.h>

#include <algorithm>

#include "lib/debug.h"
#include "lib/file.h"
#include "lib/getline.h"
#include "lib/table_rows.h"
#include "lib/utilstr.h"
#include "probes/net_addr_linux.h"
#include "probes/net_conf_linux.h"
#include "probes/net_iptables_linux.h"
#include "probes/net_route_linux.h"

namespace kestrel {
namespace {

template <size_t Index>
uint32_t counter(const rtnl_link_info& link) {
  return link.stats[Index];
}

constexpr cell_of<rtnl_link_info> k_interface_cells[] = {
    {"Interface", show_ascii<&rtnl_link_info::name>            },
    {"Type",      show_ascii<&rtnl_link_info::type>.wide(16)   },
    {"Address",   show_ascii<&rtnl_link_info::address>.wide(32)},
    {"Flags",     show_ascii<&rtnl_link_info::flags>           },
    {"MTU",       show<&rtnl_link_info::mtu>                   },
};

constexpr cell_of<rtnl_link_info> k_statistics_cells[] = {
    {"Name",       show_ascii<&rtnl_link_info::name>},
    {"rx packets", show<counter<0>>                 },
    {"tx packets", show<counter<1>>                 },
    {"rx bytes",   show<counter<2>>                 },
    {"tx bytes",   show<counter<3>>                 },
    {"rx errors",  show<counter<4>>                 },
    {"tx errors",  show<counter<5>>                 },
    {"rx dropped", show<counter<6>>                 },
    {"tx dropped", show<counter<7>>                 },
    {"multicast",  show<counter<8>>                 },
    {"collisions", show<counter<9>>                 },
};

constexpr cell_of<rtnl_addr_info> k_address_cells[] = {
    {"Name",      show_ascii<&rtnl_addr_info::label>          },
    {"Family",    show_ascii<&rtnl_addr_info::family>.wide(16)},
    {"Address",   show_ascii<&rtnl_addr_info::address>        },
    {"Netmask",   show_ascii<&rtnl_addr_info::netmask>        },
    {"Broadcast", show_ascii<&rtnl_addr_info::broadcast>      },
    {"Interface", show_ascii<&rtnl_addr_info::interface>      },
};

constexpr cell_of<rtnl_route_info> k_route_cells[] = {
    {"Destination", show_ascii<&rtnl_route_info::destination>   },
    {"Gateway",     show_ascii<&rtnl_route_info::gateway>       },
    {"Netmask",     show_ascii<&rtnl_route_info::netmask>       },
    {"Scope",       show_ascii<&rtnl_route_info::scope>.wide(16)},
    {"Type",        show_ascii<&rtnl_route_info::type>.wide(16) },
    {"Interface",   show_ascii<&rtnl_route_info::interface>     },
};

interface_name name_or_unknown(const rtnl_link_info* link) {
  return link != nullptr ? link->name : "unknown";
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
  const netlink_ptr nlb = netlink_open();
  printd("make_interface_list %i\n", nlb != nullptr ? 0 : -1);
  if (nlb == nullptr) return;
  for (;;) {
    printd("net: doing rtnl_next_link\n");
    const std::optional<rtnl_link_info> link = rtnl_next_link(*nlb);
    if (!link) break;
    printd("ADDING AN INTERFACE\n");
    add_interface(*link);
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
  record_table table(fp, "Network Interfaces", k_interface_cells);
  for (const rtnl_link_info& link : interfaces_) table.add(link.name, link);
}

void net_probe::scan_link_stats(FILE* fp) {
  record_table table(fp, "Network Interface Statistics", k_statistics_cells);
  for (const rtnl_link_info& link : interfaces_) table.add(link.name, link);
}

void net_probe::scan_address(FILE* fp) {
  record_table table(fp, "Network Addresses", k_address_cells);
  const netlink_ptr nlb = netlink_open();
  if (nlb == nullptr) return;
  while (std::optional<rtnl_addr_info> address = rtnl_next_addr(*nlb)) {
    address->interface = name_or_unknown(find_interface(address->index));
    table.add(address->label, *address);
  }
}

void net_probe::scan_iptables(FILE* fp) {
  if (has_iptables()) write_iptables_chains(fp);
}

bool net_probe::scan_route(FILE* fp) {
  record_table table(fp, "Network Routing Table", k_route_cells);
  const netlink_ptr nlb = netlink_open();
  printd("route: rc = %i\n", nlb != nullptr ? 0 : -1);
  if (nlb == nullptr) return false;
  while (std::optional<rtnl_route_info> route = rtnl_next_route(*nlb)) {
    const int index = static_cast<int>(route->output_interface);
    const rtnl_link_info* link = find_interface(index);
    printd("route: got %p from %i\n", static_cast<const void*>(link), index);
    route->interface = name_or_unknown(link);
    table.add(route->destination, *route);
  }
  return nlb->is_complete;
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

bool hosts_probe::test() { return is_accessible("/etc/hosts", R_OK); }

bool hosts_probe::run(FILE* fp) {
  write_hosts(fp);
  return true;
}

bool resolv_probe::test() { return is_accessible("/etc/resolv.conf", R_OK); }

bool resolv_probe::run(FILE* fp) {
  write_resolver(fp);
  return true;
}

}  // namespace kestrel
