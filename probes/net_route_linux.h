// The kernel's IPv4 routes, those of the local table included: the RTM_GETROUTE dump.
#pragma once

#include <cstdint>

#include "lib/cursor.h"
#include "probes/net_socket_linux.h"

namespace kestrel {

/// A route message (struct rtmsg of <linux/rtnetlink.h> and its attributes) as texts and numbers.
struct rtnl_route_info {
  char protocol[17] = "";
  char scope[17] = "";
  char type[17] = "";
  char destination[47] = "";  ///< "default" for a route with destination length 0
  char source[47] = "";
  char gateway[47] = "";
  char netmask[47] = "";  ///< of the destination length
  char preferred_source[47] = "";
  uint32_t input_interface = 0;   ///< index, 0 for none
  uint32_t output_interface = 0;  ///< index, 0 for none
  uint32_t priority = 0;          ///< the metric
  uint32_t table = 0;             ///< number of the routing table
};

/// Takes one route message (what follows the netlink header). False when it is too short.
bool parse_route_message(byte_span payload, rtnl_route_info& route);

/// The next route of the conversation: 0 with `route` filled, 1 when the dump is complete, negative
/// on error.
int rtnl_next_route(netlink_buffer* nlb, rtnl_route_info* route);

/// Names of a route's protocol, scope and type (rtnetlink(7)), cut to the buffer of `size` bytes.
/// Others are "unknown 9", "9" and "0xc".
void rtnl_route_protocol(int protocol, char* out, int size);
void rtnl_route_scope(int scope, char* out, int size);
void rtnl_route_type(int type, char* out, int size);

}  // namespace kestrel
