// What every rtnetlink dump has in common: the request, the messages of a datagram, the attributes
// of a message, and the texts of addresses. Numbers are in host byte order, as the kernel's are;
// constants come from <linux/netlink.h> and <linux/rtnetlink.h>.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lib/cursor.h"
#include "lib/record_members.h"
#include "probes/net_socket_linux.h"

namespace kestrel {

/// The name of an interface, or the label of an address.
using interface_name = fitted_text<16>;
/// A network address, in the notation of its family.
using address_text = fitted_text<46>;

/// Bytes of a request: the netlink header and the address family, padded.
inline constexpr size_t k_netlink_request_size = 20;
/// The request for one dump.
std::array<unsigned char, k_netlink_request_size> netlink_request(unsigned type, unsigned family,
                                                                  uint32_t sequence);

/// One message of a datagram: struct nlmsghdr of <linux/netlink.h>, and what follows it.
struct netlink_message {
  uint32_t length = 0;  ///< header included
  uint16_t type = 0;
  uint16_t flags = 0;
  uint32_t sequence = 0;
  uint32_t port = 0;
  byte_span payload;  ///< what follows the header; a view of the datagram
};

/// The first message of `bytes`. None when its length is below that of its header or it ends behind
/// the bytes.
std::optional<netlink_message> parse_netlink_message(byte_span bytes);

/// What a message is to the dump.
enum class netlink_kind {
  answer,  ///< of the expected type
  end,     ///< of the dump, which may be incomplete: the debug log tells
  other    ///< an error, or of any other type
};
netlink_kind netlink_validate_message(const netlink_message& message, int expected);

/// Requests the dump `type` (RTM_GETLINK, RTM_GETADDR or RTM_GETROUTE) of an address family. False
/// when the request could not be sent.
bool netlink_send_message(netlink_buffer& nlb, unsigned type, unsigned family);

/// Makes sure that an unread message is in the buffer: sends the request if this conversation has
/// not sent one, receives a datagram if all was read. False when there is none.
bool netlink_get_message(netlink_buffer& nlb, unsigned type, unsigned family);

/// The next message of the dump `request`, which must have the type `answer`; valid until the next
/// call. None behind the last one: `nlb.is_complete` tells whether the dump came to its end.
std::optional<netlink_message> netlink_next_message(netlink_buffer& nlb, unsigned request,
                                                    int answer);

/// Traces, behind `label`, the error that the payload of an NLMSG_ERROR or NLMSG_DONE message
/// begins with.
void netlink_error_message(const char* label, byte_span payload);
/// Traces the header's fields.
void netlink_print_nlmsghdr(const netlink_message& message);

/// One attribute: struct rtattr of <linux/rtnetlink.h> and its value, a view of the message.
struct netlink_attribute {
  uint16_t type = 0;
  byte_span payload;
  /// The number that the value begins with, 0 when it is too short.
  uint32_t number() const { return cursor(payload).get_host32(); }
};
/// The attributes behind a family header, up to the first whose length cannot be true.
std::vector<netlink_attribute> netlink_attributes(byte_span bytes);

/// A hardware address, "00:11:22:33:44:55".
std::string rtnl_link_address(byte_span address);
/// An address of `family`: inet and inet6 in their notations, others as hardware addresses. Empty
/// when there are too few bytes.
std::string rtnl_format_address(int family, byte_span address);
/// "inet", "inet6" or "unknown" (AF_ values of <sys/socket.h>).
const char* rtnl_address_family(int family);
/// The IPv4 netmask of a prefix length in bits, "255.255.255.0".
std::string rtnl_netmask(int prefix);

}  // namespace kestrel
