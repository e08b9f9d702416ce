// See net_route_linux.h.
#include "probes/net_route_linux.h"

#include <linux/rtnetlink.h>

#include "lib/debug.h"
#include "lib/decode.h"
#include "lib/utilstr.h"
#include "probes/net_lib_linux.h"

namespace kestrel {
namespace {

constexpr code_name k_route_protocols[] = {
    {0, "none"    },
    {1, "redirect"},
    {2, "kernel"  },
    {3, "boot"    },
    {4, "static"  },
};

constexpr code_name k_route_scopes[] = {
    {0,   "universe"},
    {253, "link"    },
    {254, "host"    },
};

constexpr code_name k_route_types[] = {
    {1,  "unicast"    },
    {2,  "local"      },
    {3,  "broadcast"  },
    {4,  "anycast"    },
    {5,  "multicast"  },
    {6,  "drop"       },
    {7,  "unreachable"},
    {8,  "prohibited" },
    {9,  "throw"      },
    {10, "nat"        },
    {11, "external"   },
};

constexpr int k_address_size = sizeof(rtnl_route_info::destination);

struct address_field {
  int attribute;
  char (rtnl_route_info::*text)[k_address_size];
};
constexpr address_field k_address_fields[] = {
    {RTA_DST,     &rtnl_route_info::destination     },
    {RTA_SRC,     &rtnl_route_info::source          },
    {RTA_GATEWAY, &rtnl_route_info::gateway         },
    {RTA_PREFSRC, &rtnl_route_info::preferred_source},
};

struct number_field {
  int attribute;
  uint32_t rtnl_route_info::*number;
};
constexpr number_field k_number_fields[] = {
    {RTA_IIF,      &rtnl_route_info::input_interface },
    {RTA_OIF,      &rtnl_route_info::output_interface},
    {RTA_PRIORITY, &rtnl_route_info::priority        },
};

void take_route_attribute(const netlink_attribute& attribute, int family, rtnl_route_info& route) {
  byte_span value = attribute.payload;
  for (const address_field& field : k_address_fields) {
    if (field.attribute != attribute.type) continue;
    rtnl_format_address(family, value.data(), static_cast<int>(value.size()), route.*field.text,
                        k_address_size);
  }
  for (const number_field& field : k_number_fields) {
    if (field.attribute == attribute.type) route.*field.number = host_value<uint32_t>(value);
  }
}

}  // namespace

void rtnl_route_protocol(int protocol, char* out, int size) {
  const char* name = name_of(k_route_protocols, static_cast<uint32_t>(protocol), nullptr);
  if (name != nullptr) {
    format_string(out, static_cast<size_t>(size), "%s", name);
  } else {
    format_string(out, static_cast<size_t>(size), "unknown %d", protocol);
  }
}

void rtnl_route_scope(int scope, char* out, int size) {
  const char* name = name_of(k_route_scopes, static_cast<uint32_t>(scope), nullptr);
  if (name != nullptr) {
    format_string(out, static_cast<size_t>(size), "%s", name);
  } else {
    format_string(out, static_cast<size_t>(size), "%d", scope);
  }
}

void rtnl_route_type(int type, char* out, int size) {
  const char* name = name_of(k_route_types, static_cast<uint32_t>(type), nullptr);
  if (name != nullptr) {
    format_string(out, static_cast<size_t>(size), "%s", name);
  } else {
    format_string(out, static_cast<size_t>(size), "%#0x", static_cast<unsigned>(type));
  }
}

bool parse_route_message(byte_span payload, rtnl_route_info& route) {
  route = {};
  if (payload.size() < sizeof(rtmsg)) return false;
  print_hexdump("net: rtm", payload.data(), sizeof(rtmsg), nullptr);
  int family = payload[0];
  int destination_length = payload[1];
  route.table = payload[4];
  rtnl_netmask(destination_length, route.netmask, sizeof(route.netmask));
  rtnl_route_protocol(payload[5], route.protocol, sizeof(route.protocol));
  rtnl_route_scope(payload[6], route.scope, sizeof(route.scope));
  rtnl_route_type(payload[7], route.type, sizeof(route.type));
  attribute_walk walk(payload.subspan(sizeof(rtmsg)));
  for (netlink_attribute attribute; walk.next(attribute);) {
    take_route_attribute(attribute, family, route);
  }
  if (destination_length == 0) format_string(route.destination, k_address_size, "default");
  return true;
}

int rtnl_next_route(netlink_buffer* nlb, rtnl_route_info* route) {
  netlink_message message;
  int rc = netlink_next_message(nlb, RTM_GETROUTE, RTM_NEWROUTE, message);
  if (rc != 0) return rc;
  return parse_route_message(message.payload, *route) ? 0 : -1;
}

}  // namespace kestrel
