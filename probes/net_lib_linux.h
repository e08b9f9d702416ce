// What every rtnetlink dump has in common: the request, the messages of a datagram, the attributes
// of a message, and the texts of addresses. Numbers are in host byte order, as the kernel's are;
// constants come from <linux/netlink.h> and <linux/rtnetlink.h>.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "lib/cursor.h"
#include "probes/net_socket_linux.h"

namespace kestrel {

/// Bytes of a request: the netlink header and the address family, padded.
inline constexpr size_t k_netlink_request_size = 20;
/// The request for one dump.
std::array<unsigned char, k_netlink_request_size> netlink_request(unsigned type, unsigned family,
                                                                  uint32_t sequence);

/// The number at `offset`, 0 when the bytes end before it does.
template <class Number>
Number host_value(byte_span bytes, size_t offset = 0) {
  Number value = 0;
  if (offset <= bytes.size() && bytes.size() - offset >= sizeof(value)) {
    memcpy(&value, bytes.data() + offset, sizeof(value));
  }
  return value;
}

/// One message of a datagram: struct nlmsghdr of <linux/netlink.h>, and what follows it.
struct netlink_message {
  uint32_t length = 0;  ///< header included
  uint16_t type = 0;
  uint16_t flags = 0;
  uint32_t sequence = 0;
  uint32_t port = 0;
  byte_span payload;  ///< what follows the header; a view of the datagram
};

/// Takes the first message of `bytes`. False when its length is below that of its header or it
/// ends behind the bytes.
bool parse_netlink_message(byte_span bytes, netlink_message& message);

/// 0 when the message has the expected type, 1 when it ends the dump, -1 when it reports an error
/// or is of any other type. A dump that ends early, with an error, is told in the debug log.
int netlink_validate_message(const netlink_message& message, int expected);

/// Makes sure that an unread message is in the buffer: sends the request if this conversation has
/// not sent one, receives a datagram if all was read. 0, or negative on error.
int netlink_get_message(netlink_buffer* nlb, int type, int family);

/// The next message of the dump `request`, which must have the type `answer`, and steps over it.
/// 0 with `message` filled (valid until the next call), 1 when the dump is complete, negative on
/// error.
int netlink_next_message(netlink_buffer* nlb, int request, int answer, netlink_message& message);

/// Traces, behind `label`, the error that the payload of an NLMSG_ERROR or NLMSG_DONE message
/// begins with.
void netlink_error_message(const char* label, byte_span payload);
/// Traces the header's fields.
void netlink_print_nlmsghdr(const netlink_message& message);

/// One attribute: struct rtattr of <linux/rtnetlink.h> and its value, a view of the message.
struct netlink_attribute {
  uint16_t type = 0;
  byte_span payload;
};

/// Walks the attributes behind a family header; ends at the first whose length cannot be true.
class attribute_walk {
 public:
  explicit attribute_walk(byte_span attributes) : left_(attributes) {}
  /// Fills `attribute`; false, and it is unchanged, at the end.
  bool next(netlink_attribute& attribute);

 private:
  byte_span left_;
};

/// Copies a name that may lack its NUL; cut to the buffer.
void copy_netlink_name(byte_span name, char* out, int size);

// The texts below are cut to the buffer of `size` bytes and always terminated.

/// A hardware address, "00:11:22:33:44:55".
void rtnl_link_address(const void* address, int length, char* out, int size);
/// An address of `family`: inet and inet6 in their notations, others as hardware addresses. Empty
/// when there are too few bytes.
void rtnl_format_address(int family, const void* data, int length, char* out, int size);
/// "inet", "inet6" or "unknown" (AF_ values of <sys/socket.h>).
void rtnl_address_family(int family, char* out, int size);
/// The IPv4 netmask of a prefix length in bits, "255.255.255.0".
void rtnl_netmask(int prefix, char* out, int size);

}  // namespace kestrel
