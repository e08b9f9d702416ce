// The probes of the group "NETWORK": interfaces, addresses, routes and packet filter; host table;
// resolver.
#pragma once

#include <list>

#include "gatherer/probe.h"
#include "probes/net_link_linux.h"

namespace kestrel {

/// Interfaces, their statistics, addresses, packet filter and routes, a table each.
class net_probe : public probe {
 public:
  using probe::probe;

  /// Writes all tables; true when the dump of the routes came to its end.
  bool run(FILE* fp) override;

  /// Fills the list of interfaces, in the order in which the kernel reports them.
  void make_interface_list();
  /// Write the tables of the interfaces in the list and of their counters, and of the addresses,
  /// for which the kernel is asked; no rows when it does not answer.
  void scan_link(FILE* fp);
  void scan_link_stats(FILE* fp);
  void scan_address(FILE* fp);
  /// True when the dump came to its end.
  bool scan_route(FILE* fp);
  /// No tables when `iptables` does not answer.
  void scan_iptables(FILE* fp);

  /// Appends a copy to the list.
  void add_interface(const rtnl_link_info& link);
  /// The interface with that index, null when the list has none. Lives until the list is made
  /// anew.
  const rtnl_link_info* find_interface(int index) const;

 private:
  /// The kernel may end the dump, without an error, in front of an interface whose message exceeds
  /// the buffer; the debug log names those that are missing.
  void trace_hidden_interfaces() const;

  std::list<rtnl_link_info> interfaces_;
};

/// The table of /etc/hosts.
class hosts_probe : public probe {
 public:
  using probe::probe;
  /// True where the file can be read; `run` is always true. The same holds for the resolver.
  bool test() override;
  bool run(FILE* fp) override;
};

/// The table of /etc/resolv.conf.
class resolv_probe : public probe {
 public:
  using probe::probe;
  bool test() override;
  bool run(FILE* fp) override;
};

}  // namespace kestrel
