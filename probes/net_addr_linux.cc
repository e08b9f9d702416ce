// Makes records of the kernel's address messages. An address is told by its label, which is the
// name of the interface or an alias of it.
#include "probes/net_addr_linux.h"

#include <linux/rtnetlink.h>

#include <cstddef>

namespace kestrel {
namespace {

void take_attribute(const netlink_attribute& attribute, int family, rtnl_addr_info& info) {
  info.family = rtnl_address_family(family);
  switch (attribute.type) {
    case IFA_LOCAL:
      info.address = rtnl_format_address(family, attribute.payload);
      break;
    case IFA_LABEL:
      info.label = text_field(attribute.payload);
      break;
    case IFA_BROADCAST:
      info.broadcast = rtnl_format_address(family, attribute.payload);
      break;
    default:
      break;
  }
}

}  // namespace

std::optional<rtnl_addr_info> parse_address_message(byte_span payload) {
  cursor in(payload);
  const int family = in.get_u8();
  rtnl_addr_info info;
  info.prefix_length = in.get_u8();
  in.seek(offsetof(ifaddrmsg, ifa_index));
  info.index = static_cast<int>(in.get_host32());
  if (in.failed()) return {};
  info.netmask = rtnl_netmask(info.prefix_length);
  for (const netlink_attribute& attribute : netlink_attributes(in.take_rest())) {
    take_attribute(attribute, family, info);
  }
  return info;
}

std::optional<rtnl_addr_info> rtnl_next_addr(netlink_buffer& nlb) {
  const auto message = netlink_next_message(nlb, RTM_GETADDR, RTM_NEWADDR);
  return message ? parse_address_message(message->payload) : std::nullopt;
}

}  // namespace kestrel
