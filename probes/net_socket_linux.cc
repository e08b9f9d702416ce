// The rtnetlink socket itself: opened, bound to the process id, written to and waited for. It reads
// the datagrams of the kernel's process id 0 and no others. Test programs link another body.
#include "probes/net_socket_linux.h"

#include <linux/netlink.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "lib/debug.h"

namespace kestrel {
namespace {

using steady_clock = std::chrono::steady_clock;

sockaddr_nl netlink_address(uint32_t port) {
  sockaddr_nl address = {};
  address.nl_family = AF_NETLINK;
  address.nl_pid = port;
  return address;
}

// The socket interface takes every kind of address through this one pointer type.
template <class Address>
sockaddr* generic(Address& address) {
  return reinterpret_cast<sockaddr*>(&address);
}

bool wait_until_readable(int descriptor, steady_clock::time_point deadline) {
  using std::chrono::milliseconds;
  const auto left = std::chrono::duration_cast<milliseconds>(deadline - steady_clock::now());
  pollfd readable = {descriptor, POLLIN, 0};
  const int ready = left.count() > 0 ? poll(&readable, 1, static_cast<int>(left.count())) : 0;
  if (ready == 0) errno = ETIMEDOUT;
  return ready > 0;
}

// The length of the kernel's next datagram, which may exceed the buffer. Datagrams that another
// process sent to our port are dropped.
ssize_t receive_from_kernel(netlink_buffer& nlb) {
  const steady_clock::time_point deadline = steady_clock::now() + k_netlink_timeout;
  for (;;) {
    if (!wait_until_readable(nlb.socket, deadline)) {
      if (errno == EINTR) continue;
      return -1;
    }
    sockaddr_nl sender = {};
    socklen_t sender_length = sizeof sender;
    const ssize_t length = recvfrom(nlb.socket, nlb.buffer.data(), nlb.buffer.size(),
                                    MSG_DONTWAIT | MSG_TRUNC, generic(sender), &sender_length);
    if (length < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (length > 0 && sender.nl_pid != 0) continue;
    return length;
  }
}

}  // namespace

netlink_ptr netlink_open() {
  netlink_ptr nlb(new netlink_buffer);
  printd("net: nlb @ %p\n", static_cast<void*>(nlb.get()));
  printd("net: nlb->buffer @ %p\n", static_cast<void*>(nlb->buffer.data()));
  nlb->socket = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, 0);
  if (nlb->socket < 0) {
    print_error("net: socket", errno);
    return nullptr;
  }
  printd("net: socket = %d\n", nlb->socket);
  sockaddr_nl address = netlink_address(static_cast<uint32_t>(getpid()));
  (void)!bind(nlb->socket, generic(address), sizeof address);
  return nlb;
}

int netlink_close(netlink_buffer* nlb) {
  const std::unique_ptr<netlink_buffer> owned(nlb);
  return owned->socket < 0 ? 0 : close(owned->socket);
}

bool netlink_send(const netlink_buffer& nlb, byte_span request) {
  sockaddr_nl kernel = netlink_address(0);
  ssize_t sent = 0;
  do {
    sent = sendto(nlb.socket, request.data(), request.size(), 0, generic(kernel), sizeof kernel);
  } while (sent < 0 && errno == EINTR);
  if (sent < 0) {
    print_error("net: sendto", errno);
    return false;
  }
  printd("net: sendto, rc = %zd\n", sent);
  return true;
}

bool netlink_receive_message(netlink_buffer& nlb) {
  nlb.length = 0;
  nlb.offset = 0;
  printd("doing recvfrom on %i, %p, %zu\n", nlb.socket, static_cast<void*>(nlb.buffer.data()),
         nlb.buffer.size());
  const ssize_t received = receive_from_kernel(nlb);
  if (received < 0) {
    print_error("net: recvmsg", errno);
    return false;
  }
  if (received == 0) {
    printd("net: EOF on socket %d\n", nlb.socket);
    return false;
  }
  printd("net: recvmsg, rc = %zd\n", received);
  nlb.length = std::min(static_cast<size_t>(received), nlb.buffer.size());
  if (nlb.length < static_cast<size_t>(received)) {
    printd("net: datagram of %zd bytes cut to %zu\n", received, nlb.length);
  }
  print_hexdump("netlink message", nlb.buffer.data(), static_cast<int>(nlb.length), nullptr);
  return true;
}

}  // namespace kestrel
