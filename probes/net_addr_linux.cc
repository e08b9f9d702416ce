// See net_addr_linux.h.
#include "probes/net_addr_linux.h"

#include <linux/rtnetlink.h>

#include "probes/net_lib_linux.h"

namespace kestrel {
namespace {

constexpr size_t k_index_offset = 4;

void take_address_attribute(const netlink_attribute& attribute, int family, rtnl_addr_info& info) {
  byte_span value = attribute.payload;
  int length = static_cast<int>(value.size());
  rtnl_address_family(family, info.family, sizeof(info.family));
  if (attribute.type == IFA_LOCAL) {
    rtnl_format_address(family, value.data(), length, info.address, sizeof(info.address));
  } else if (attribute.type == IFA_LABEL) {
    copy_netlink_name(value, info.label, sizeof(info.label));
  } else if (attribute.type == IFA_BROADCAST) {
    rtnl_format_address(family, value.data(), length, info.broadcast, sizeof(info.broadcast));
  }
}

}  // namespace

bool parse_address_message(byte_span payload, rtnl_addr_info& address) {
  address = {};
  if (payload.size() < sizeof(ifaddrmsg)) return false;
  int family = payload[0];
  address.prefix_length = payload[1];
  address.index = host_value<int32_t>(payload, k_index_offset);
  rtnl_netmask(address.prefix_length, address.netmask, sizeof(address.netmask));
  attribute_walk walk(payload.subspan(sizeof(ifaddrmsg)));
  for (netlink_attribute attribute; walk.next(attribute);) {
    take_address_attribute(attribute, family, address);
  }
  return true;
}

int rtnl_next_addr(netlink_buffer* nlb, rtnl_addr_info* address) {
  netlink_message message;
  int rc = netlink_next_message(nlb, RTM_GETADDR, RTM_NEWADDR, message);
  if (rc != 0) return rc;
  return parse_address_message(message.payload, *address) ? 0 : -1;
}

}  // namespace kestrel
