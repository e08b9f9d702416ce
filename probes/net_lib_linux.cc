// See net_lib_linux.h. Lengths come from the sender and are checked against the datagram before
// anything is read.
#include "probes/net_lib_linux.h"

#include <arpa/inet.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cstdlib>

#include "lib/debug.h"
#include "lib/decode.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr size_t k_header_size = sizeof(nlmsghdr);
constexpr size_t k_attribute_header_size = sizeof(rtattr);
// Root and atomic, not the usual dump pair, on purpose.
constexpr uint16_t k_dump_flags = NLM_F_REQUEST | NLM_F_ROOT | NLM_F_ATOMIC;
constexpr size_t k_inet6_size = 16;
constexpr size_t k_inet_size = 4;

constexpr code_name k_address_families[] = {
    {AF_INET,  "inet" },
    {AF_INET6, "inet6"},
};

constexpr size_t aligned(size_t length) { return (length + 3) & ~size_t{3}; }

template <class Number>
void put(unsigned char* at, Number value) {
  memcpy(at, &value, sizeof(value));
}

}  // namespace

std::array<unsigned char, k_netlink_request_size> netlink_request(unsigned type, unsigned family,
                                                                  uint32_t sequence) {
  std::array<unsigned char, k_netlink_request_size> request = {};
  put(&request[0], static_cast<uint32_t>(request.size()));
  put(&request[4], static_cast<uint16_t>(type));
  put(&request[6], k_dump_flags);
  put(&request[8], sequence);
  request[k_header_size] = static_cast<unsigned char>(family);
  return request;
}

bool parse_netlink_message(byte_span bytes, netlink_message& message) {
  message = {};
  message.length = host_value<uint32_t>(bytes, 0);
  if (message.length < k_header_size || message.length > bytes.size()) return false;
  message.type = host_value<uint16_t>(bytes, 4);
  message.flags = host_value<uint16_t>(bytes, 6);
  message.sequence = host_value<uint32_t>(bytes, 8);
  message.port = host_value<uint32_t>(bytes, 12);
  message.payload = bytes.subspan(k_header_size, message.length - k_header_size);
  return true;
}

void netlink_error_message(const char* label, byte_span payload) {
  // The kernel counts errors below zero.
  const int error = to_int(std::abs(int64_t{host_value<int32_t>(payload)}));
  printd("net: %s: %s\n", label, strerror(error));
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

int netlink_validate_message(const netlink_message& message, int expected) {
  if (message.type == expected) return 0;
  if (message.type == NLMSG_DONE) {
    printd("net: Done processing messages\n");
    // So the kernel tells of a message that would not have fitted the buffer.
    if (host_value<int32_t>(message.payload) != 0) {
      netlink_error_message("the dump is incomplete", message.payload);
    }
    return 1;
  }
  if (message.type == NLMSG_ERROR) {
    // Whatever the request was, the log names this one.
    netlink_error_message("RTM_GETLINK", message.payload);
  } else {
    printd("net: incorrect message type 0x%02x\n", message.type);
  }
  return -1;
}

int netlink_get_message(netlink_buffer* nlb, int type, int family) {
  if (nlb->sequence == 0) {
    int rc = netlink_send_message(nlb, static_cast<unsigned>(type), static_cast<unsigned>(family));
    if (rc < 0) return rc;
  }
  if (nlb->offset < nlb->length) return 0;
  return netlink_receive_message(nlb);
}

int netlink_next_message(netlink_buffer* nlb, int request, int answer, netlink_message& message) {
  int rc = netlink_get_message(nlb, request, AF_INET);
  if (rc < 0) return rc;
  printd("net: Processing message at offset %d\n", nlb->offset);
  byte_span datagram(nlb->buffer.data(), static_cast<size_t>(nlb->length));
  if (!parse_netlink_message(datagram.subspan(static_cast<size_t>(nlb->offset)), message)) {
    printd("net: message length %u in a datagram of %d bytes\n", message.length, nlb->length);
    return -1;
  }
  netlink_print_nlmsghdr(message);
  rc = netlink_validate_message(message, answer);
  if (rc != 0) return rc;
  nlb->offset = std::min(nlb->offset + static_cast<int>(aligned(message.length)), nlb->length);
  return 0;
}

bool attribute_walk::next(netlink_attribute& attribute) {
  if (left_.size() < k_attribute_header_size) return false;
  size_t length = host_value<uint16_t>(left_, 0);
  if (length < k_attribute_header_size || length > left_.size()) return false;
  attribute.type = host_value<uint16_t>(left_, 2);
  attribute.payload = left_.subspan(k_attribute_header_size, length - k_attribute_header_size);
  if (is_logging()) {
    printd("net: len = %d\trta_len: %hd\trta_type: %hd\n", static_cast<int>(left_.size()),
           static_cast<short>(length), static_cast<short>(attribute.type));
    print_hexdump("net: rta", left_.data(), static_cast<int>(length), nullptr);
  }
  left_ = left_.subspan(std::min(aligned(length), left_.size()));
  return true;
}

void copy_netlink_name(byte_span name, char* out, int size) {
  format_string(out, static_cast<size_t>(size), "%s", text_field(name).c_str());
}

void rtnl_link_address(const void* address, int length, char* out, int size) {
  const unsigned char* bytes = static_cast<const unsigned char*>(address);
  std::string text;
  for (int i = 0; i < length && text.size() < static_cast<size_t>(size); ++i) {
    text += format_text("%s%02x", i == 0 ? "" : ":", bytes[i]);
  }
  format_string(out, static_cast<size_t>(size), "%s", text.c_str());
}

void rtnl_format_address(int family, const void* data, int length, char* out, int size) {
  if (family != AF_INET && family != AF_INET6) {
    rtnl_link_address(data, length, out, size);
    return;
  }
  size_t needed = family == AF_INET ? k_inet_size : k_inet6_size;
  out[0] = '\0';
  if (length >= static_cast<int>(needed)) {
    inet_ntop(family, data, out, static_cast<socklen_t>(size));
  }
}

void rtnl_address_family(int family, char* out, int size) {
  format_string(out, static_cast<size_t>(size), "%s",
                name_of(k_address_families, static_cast<uint32_t>(family), "unknown"));
}

void rtnl_netmask(int prefix, char* out, int size) {
  uint32_t mask = 0;
  if (prefix != 0) mask = htonl(UINT32_MAX << (static_cast<unsigned>(32 - prefix) % 32));
  rtnl_format_address(AF_INET, &mask, sizeof(mask), out, size);
}

}  // namespace kestrel
