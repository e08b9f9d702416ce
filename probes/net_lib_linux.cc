// Reads the datagrams of an rtnetlink dump. Lengths come from the sender and are checked against
// the datagram before anything is read; every step is told in the debug log, which is where a dump
// that ended early can be understood.
#include "probes/net_lib_linux.h"

#include <arpa/inet.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

#include "lib/debug.h"
#include "lib/decode.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr size_t k_attribute_header_size = sizeof(rtattr);
// Root and atomic, not the usual dump pair, on purpose.
constexpr uint16_t k_dump_flags = NLM_F_REQUEST | NLM_F_ROOT | NLM_F_ATOMIC;

constexpr code_name k_address_families[] = {
    {AF_INET,  "inet" },
    {AF_INET6, "inet6"},
};

constexpr size_t aligned(size_t length) { return (length + 3) & ~size_t{3}; }

std::string inet_text(int family, byte_span address) {
  char text[INET6_ADDRSTRLEN] = "";
  const size_t needed = family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr);
  if (address.size() >= needed) inet_ntop(family, address.data(), text, sizeof text);
  return text;
}

}  // namespace

std::array<unsigned char, k_netlink_request_size> netlink_request(unsigned type, unsigned family,
                                                                  uint32_t sequence) {
  struct dump_request {
    nlmsghdr header;
    unsigned char family, padding[3];
  };
  const dump_request request = {
      {sizeof(dump_request), static_cast<uint16_t>(type), k_dump_flags, sequence, 0},
      static_cast<unsigned char>(family),
      {                  }
  };
  return std::bit_cast<std::array<unsigned char, k_netlink_request_size>>(request);
}

std::optional<netlink_message> parse_netlink_message(byte_span bytes) {
  cursor in(bytes);
  netlink_message message;
  message.length = in.get_host32();
  message.type = in.get_host16();
  message.flags = in.get_host16();
  message.sequence = in.get_host32();
  message.port = in.get_host32();
  if (message.length < sizeof(nlmsghdr)) return {};
  message.payload = in.take(message.length - sizeof(nlmsghdr));
  if (in.failed()) return {};
  return message;
}

void netlink_error_message(const char* label, byte_span payload) {
  // The kernel counts errors below zero.
  const auto code = static_cast<int32_t>(cursor(payload).get_host32());
  printd("net: %s: %s\n", label, strerror(to_int(std::abs(int64_t{code}))));
}

void netlink_print_nlmsghdr(const netlink_message& message) {
  printd(
      "net: \tlen   : %u\nnet: \ttype  : %hu\nnet: \tflags : %hu\nnet: \tseq   : %u\n"
      "net: \tpid   : %u\n",
      message.length, message.type, message.flags, message.sequence, message.port);
  if ((message.flags & NLM_F_DUMP_INTR) != 0) {
    printd("net: the configuration changed during the dump\n");
  }
}

netlink_kind netlink_validate_message(const netlink_message& message, int expected) {
  if (message.type == expected) return netlink_kind::answer;
  if (message.type == NLMSG_DONE) {
    printd("net: Done processing messages\n");
    // So the kernel tells of a message that would not have fitted the buffer.
    if (cursor(message.payload).get_host32() != 0) {
      netlink_error_message("the dump is incomplete", message.payload);
    }
    return netlink_kind::end;
  }
  if (message.type == NLMSG_ERROR) {
    // Whatever the request was, the log names this one.
    netlink_error_message("RTM_GETLINK", message.payload);
  } else {
    printd("net: incorrect message type 0x%02x\n", message.type);
  }
  return netlink_kind::other;
}

bool netlink_send_message(netlink_buffer& nlb, unsigned type, unsigned family) {
  printd("net: netlink_send_message, type 0x%02x, family %u\n", type, family);
  nlb.length = 0;
  nlb.offset = 0;
  return netlink_send(nlb, netlink_request(type, family, ++nlb.sequence));
}

bool netlink_get_message(netlink_buffer& nlb, unsigned type, unsigned family) {
  if (nlb.sequence == 0 && !netlink_send_message(nlb, type, family)) return false;
  return nlb.offset < nlb.length || netlink_receive_message(nlb);
}

std::optional<netlink_message> netlink_next_message(netlink_buffer& nlb, unsigned request,
                                                    int answer) {
  if (!netlink_get_message(nlb, request, AF_INET)) return {};
  printd("net: Processing message at offset %zu\n", nlb.offset);
  const byte_span unread = byte_span(nlb.buffer).subspan(nlb.offset, nlb.length - nlb.offset);
  const std::optional<netlink_message> message = parse_netlink_message(unread);
  if (!message) {
    printd("net: message length %u in a datagram of %zu bytes\n", cursor(unread).get_host32(),
           nlb.length);
    return {};
  }
  netlink_print_nlmsghdr(*message);
  const netlink_kind kind = netlink_validate_message(*message, answer);
  nlb.is_complete = kind == netlink_kind::end;
  if (kind != netlink_kind::answer) return {};
  nlb.offset = std::min(nlb.offset + aligned(message->length), nlb.length);
  return message;
}

std::vector<netlink_attribute> netlink_attributes(byte_span bytes) {
  std::vector<netlink_attribute> found;
  cursor in(bytes);
  while (in.left() >= k_attribute_header_size) {
    const byte_span rest = bytes.subspan(in.position());
    const size_t length = in.get_host16();
    const uint16_t type = in.get_host16();
    if (length < k_attribute_header_size || length > rest.size()) break;
    printd("net: len = %zu\trta_len: %hd\trta_type: %hd\n", rest.size(), static_cast<short>(length),
           static_cast<short>(type));
    print_hexdump("net: rta", rest.data(), static_cast<int>(length), nullptr);
    found.push_back({type, in.take(length - k_attribute_header_size)});
    in.skip(std::min(aligned(length) - length, in.left()));
  }
  return found;
}

std::string rtnl_link_address(byte_span address) {
  std::string text;
  for (const unsigned char byte : address) {
    text += format_text("%s%02x", text.empty() ? "" : ":", byte);
  }
  return text;
}

std::string rtnl_format_address(int family, byte_span address) {
  const bool is_inet = family == AF_INET || family == AF_INET6;
  return is_inet ? inet_text(family, address) : rtnl_link_address(address);
}

const char* rtnl_address_family(int family) {
  return name_of(k_address_families, static_cast<uint32_t>(family), "unknown");
}

std::string rtnl_netmask(int prefix) {
  const uint32_t bits =
      prefix != 0 ? UINT32_MAX << (static_cast<unsigned>(32 - prefix) % 32) : uint32_t{0};
  return inet_text(AF_INET, std::bit_cast<std::array<unsigned char, 4>>(htonl(bits)));
}

}  // namespace kestrel
