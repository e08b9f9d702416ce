// The kernel's IPv4 routes, those of the local table included: the RTM_GETROUTE dump, read into a
// record a route.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "lib/cursor.h"
#include "probes/net_lib_linux.h"

namespace kestrel {

/// A route message (struct rtmsg of <linux/rtnetlink.h> and its attributes) as texts and numbers.
struct rtnl_route_info {
  std::string protocol, scope, type;
  address_text destination;  ///< "default" for a route with destination length 0
  address_text source;
  address_text gateway;
  address_text netmask;  ///< of the destination length
  address_text preferred_source;
  uint32_t input_interface = 0;   ///< index, 0 for none
  uint32_t output_interface = 0;  ///< index, 0 for none
  uint32_t priority = 0;          ///< the metric
  uint32_t table = 0;             ///< number of the routing table
  interface_name interface;       ///< name of the output interface, as in rtnl_addr_info
};

/// The record of one route message (what follows the netlink header). None when it is too short.
std::optional<rtnl_route_info> parse_route_message(byte_span payload);

/// The next route of the conversation; none behind the last one, see netlink_next_message.
std::optional<rtnl_route_info> rtnl_next_route(netlink_buffer& nlb);

/// Names of a route's protocol, scope and type (rtnetlink(7)). Others are "unknown 9", "9" and
/// "0xc".
std::string rtnl_route_protocol(int protocol);
std::string rtnl_route_scope(int scope);
std::string rtnl_route_type(int type);

}  // namespace kestrel
