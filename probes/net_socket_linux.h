// The door to the kernel's network configuration: one rtnetlink socket, its requests and the
// datagrams that answer them. Everything behind a received datagram is parsing (net_lib_linux.h).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace kestrel {

/// Bytes of the receive buffer. The kernel fits the datagrams of a dump to it.
inline constexpr int k_netlink_buffer_size = 8192;
/// Seconds that one receive waits at most.
inline constexpr int k_netlink_timeout = 5;

/// One open rtnetlink conversation; it carries a single dump.
struct netlink_buffer {
  int socket = -1;
  std::vector<unsigned char> buffer = std::vector<unsigned char>(k_netlink_buffer_size);
  int size = k_netlink_buffer_size;
  uint32_t sequence = 0;  ///< of the last request, 0 while none was sent
  int length = 0;         ///< bytes of the last datagram, never more than `size`
  int offset = 0;         ///< of the next unread message in the buffer
};

/// Frees the buffer, closes the socket and returns the result of `close`.
int netlink_close(netlink_buffer* nlb);

/// Ends a conversation and drops the result.
struct netlink_closer {
  void operator()(netlink_buffer* nlb) const { netlink_close(nlb); }
};
/// A conversation that ends when its owner goes.
using netlink_ptr = std::unique_ptr<netlink_buffer, netlink_closer>;

/// Opens a conversation; null when there is no socket. One at a time: a second socket of the
/// process could not be bound to the process id.
netlink_ptr netlink_open();

/// Requests the dump `type` (RTM_GETLINK, RTM_GETADDR or RTM_GETROUTE) of an address family.
/// Returns 0, or the negative result of the call.
int netlink_send_message(netlink_buffer* nlb, unsigned type, unsigned family);

/// Receives one datagram of the kernel into the buffer. Returns 0, or -1 at the end of the stream,
/// on an error and after k_netlink_timeout. What did not fit is lost; its message ends the dump.
int netlink_receive_message(netlink_buffer* nlb);

}  // namespace kestrel
