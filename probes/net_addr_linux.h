// The IPv4 addresses of the kernel's interfaces: the RTM_GETADDR dump, read into a record an
// address. An interface may have many, or none.
#pragma once

#include <optional>
#include <string>

#include "lib/cursor.h"
#include "probes/net_lib_linux.h"

namespace kestrel {

/// An address message (struct ifaddrmsg of <linux/if_addr.h> and its attributes) as texts.
struct rtnl_addr_info {
  int index = 0;          ///< of the interface
  int prefix_length = 0;  ///< in bits
  std::string family;     ///< empty for a message without attributes
  interface_name label;   ///< mostly the interface's name
  address_text address;   ///< the local address
  address_text netmask;   ///< of the prefix length
  address_text broadcast;
  interface_name interface;  ///< for who knows the interfaces to fill in
};

/// The record of one address message (what follows the netlink header). None when it is too short.
std::optional<rtnl_addr_info> parse_address_message(byte_span payload);

/// The next address of the conversation; none behind the last one, see netlink_next_message.
std::optional<rtnl_addr_info> rtnl_next_addr(netlink_buffer& nlb);

}  // namespace kestrel
