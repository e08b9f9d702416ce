// The kernel's network interfaces: the RTM_GETLINK dump, read into a record an interface. Addresses
// and routes name an interface by its index only, so this dump comes first.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "lib/cursor.h"
#include "probes/net_lib_linux.h"

namespace kestrel {

/// Counters of the kernel's interface statistics block (struct rtnl_link_stats of
/// <linux/if_link.h>) that are kept.
inline constexpr size_t k_link_counters = 23;

/// A link message (struct ifinfomsg of <linux/rtnetlink.h> and its attributes) as texts.
struct rtnl_link_info {
  int index = 0;
  interface_name name;
  std::string type;       ///< see rtnl_link_type
  kept_text<24> address;  ///< hardware address text, empty for an interface without one
  uint32_t mtu = 0;       ///< bytes
  kept_text<129> flags;   ///< see rtnl_link_flags
  std::array<uint32_t, k_link_counters> stats = {};  ///< as the kernel counts, from rx packets on
};

/// The record of one link message (what follows the netlink header). None when it is too short.
std::optional<rtnl_link_info> parse_link_message(byte_span payload);

/// The next interface of the conversation; none behind the last one, see netlink_next_message.
std::optional<rtnl_link_info> rtnl_next_link(netlink_buffer& nlb);

/// The name of an ARP hardware type (ARPHRD_ values of <linux/if_arp.h>).
std::string rtnl_link_type(int type);
/// The words of the set interface flags (IFF_ values of <linux/if.h>), separated by blanks.
std::string rtnl_link_flags(uint32_t flags);

}  // namespace kestrel
