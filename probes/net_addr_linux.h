// The IPv4 addresses of the kernel's interfaces: the RTM_GETADDR dump.
#pragma once

#include "lib/cursor.h"
#include "probes/net_socket_linux.h"

namespace kestrel {

/// An address message (struct ifaddrmsg of <linux/if_addr.h> and its attributes) as texts.
struct rtnl_addr_info {
  int index = 0;          ///< of the interface
  int prefix_length = 0;  ///< in bits
  char family[17] = "";   ///< empty for a message without attributes
  char label[17] = "";    ///< mostly the interface's name
  char address[47] = "";  ///< the local address
  char netmask[47] = "";  ///< of the prefix length
  char broadcast[47] = "";
};

/// Takes one address message (what follows the netlink header). False when it is too short.
bool parse_address_message(byte_span payload, rtnl_addr_info& address);

/// The next address of the conversation: 0 with `address` filled, 1 when the dump is complete,
/// negative on error.
int rtnl_next_addr(netlink_buffer* nlb, rtnl_addr_info* address);

}  // namespace kestrel
