// The door to the kernel's network configuration: one rtnetlink socket, which carries the bytes of
// a request to the kernel and fills a buffer with the datagrams that answer it. What the bytes mean
// is the business of net_lib_linux.h.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "lib/cursor.h"

namespace kestrel {

/// Bytes of the receive buffer. The kernel fits the datagrams of a dump to it.
inline constexpr size_t k_netlink_buffer_size = 8192;
/// What one receive waits at most.
inline constexpr std::chrono::seconds k_netlink_timeout{5};

/// One open rtnetlink conversation; it carries a single dump.
struct netlink_buffer {
  int socket = -1;
  std::vector<unsigned char> buffer = std::vector<unsigned char>(k_netlink_buffer_size);
  uint32_t sequence = 0;     ///< of the last request, 0 while none was sent
  size_t length = 0;         ///< bytes of the last datagram, never more than the buffer has
  size_t offset = 0;         ///< of the next unread message in the buffer
  bool is_complete = false;  ///< the kernel's end of the dump was read
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

/// Sends the bytes of a request to the kernel. False when that failed.
bool netlink_send(const netlink_buffer& nlb, byte_span request);

/// Receives one datagram of the kernel into the buffer. False at the end of the stream, on an error
/// and after k_netlink_timeout. What did not fit is lost; its message ends the dump.
bool netlink_receive_message(netlink_buffer& nlb);

}  // namespace kestrel
