// Makes records of the kernel's route messages. Which attribute fills which member is data; those
// that are not named there are passed over.
#include "probes/net_route_linux.h"

#include <linux/rtnetlink.h>

#include <cstddef>

#include "lib/debug.h"
#include "lib/decode.h"
#include "lib/utilstr.h"

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

struct address_field {
  int attribute;
  address_text rtnl_route_info::*text;
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

void take_attribute(const netlink_attribute& attribute, int family, rtnl_route_info& route) {
  for (const address_field& field : k_address_fields) {
    if (field.attribute != attribute.type) continue;
    route.*field.text = rtnl_format_address(family, attribute.payload);
  }
  for (const number_field& field : k_number_fields) {
    if (field.attribute == attribute.type) route.*field.number = attribute.number();
  }
}

}  // namespace

std::string rtnl_route_protocol(int protocol) {
  return name_of(k_route_protocols, static_cast<uint32_t>(protocol),
                 format_text("unknown %d", protocol).c_str());
}

std::string rtnl_route_scope(int scope) {
  return name_of(k_route_scopes, static_cast<uint32_t>(scope), std::to_string(scope).c_str());
}

std::string rtnl_route_type(int type) {
  const auto code = static_cast<uint32_t>(type);
  return name_of(k_route_types, code, format_text("%#0x", code).c_str());
}

std::optional<rtnl_route_info> parse_route_message(byte_span payload) {
  if (payload.size() < sizeof(rtmsg)) return {};
  print_hexdump("net: rtm", payload.data(), sizeof(rtmsg), nullptr);
  cursor in(payload);
  rtnl_route_info route;
  const int family = in.get_u8();
  const int destination_length = in.get_u8();
  in.seek(offsetof(rtmsg, rtm_table));
  route.table = in.get_u8();
  route.protocol = rtnl_route_protocol(in.get_u8());
  route.scope = rtnl_route_scope(in.get_u8());
  route.type = rtnl_route_type(in.get_u8());
  route.netmask = rtnl_netmask(destination_length);
  in.seek(sizeof(rtmsg));
  for (const netlink_attribute& attribute : netlink_attributes(in.take_rest())) {
    take_attribute(attribute, family, route);
  }
  if (destination_length == 0) route.destination = "default";
  return route;
}

std::optional<rtnl_route_info> rtnl_next_route(netlink_buffer& nlb) {
  const auto message = netlink_next_message(nlb, RTM_GETROUTE, RTM_NEWROUTE);
  return message ? parse_route_message(message->payload) : std::nullopt;
}

}  // namespace kestrel
