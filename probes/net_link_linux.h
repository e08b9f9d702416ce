// The kernel's network interfaces: the RTM_GETLINK dump.
#pragma once

#include <array>
#include <cstdint>

#include "lib/cursor.h"
#include "probes/net_socket_linux.h"

namespace kestrel {

/// Counters of the kernel's interface statistics block (struct rtnl_link_stats of
/// <linux/if_link.h>) that are kept.
inline constexpr size_t k_link_counters = 23;

/// A link message (struct ifinfomsg of <linux/rtnetlink.h> and its attributes) as texts.
struct rtnl_link_info {
  int index = 0;
  char name[17] = "";
  char type[18] = "";     ///< link type text; the longest is "uknown type 65534"
  char address[25] = "";  ///< hardware address text, empty for an interface without one
  uint32_t mtu = 0;       ///< bytes
  char flags[130] = "";   ///< see rtnl_link_flags
  std::array<uint32_t, k_link_counters> stats =
      {};  ///< as the kernel counts them, from rx packets on
};

/// Takes one link message (what follows the netlink header). False when it is too short.
bool parse_link_message(byte_span payload, rtnl_link_info& link);

/// The next interface of the conversation: 0 with `link` filled, 1 when the dump is complete,
/// negative on error.
int rtnl_next_link(netlink_buffer* nlb, rtnl_link_info* link);

/// The name of an ARP hardware type (ARPHRD_ values of <linux/if_arp.h>), cut to the buffer of
/// `size` bytes.
void rtnl_link_type(int type, char* out, int size);
/// The words of the set interface flags (IFF_ values of <linux/if.h>), separated by blanks, cut to
/// the buffer.
void rtnl_link_flags(int flags, char* out, int size);

}  // namespace kestrel
