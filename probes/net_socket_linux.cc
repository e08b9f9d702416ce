// The rtnetlink socket itself: see net_socket_linux.h. Test programs link another body.
#include "probes/net_socket_linux.h"

#include <linux/netlink.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>

#include "lib/debug.h"
#include "probes/net_lib_linux.h"

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
  auto left = std::chrono::duration_cast<milliseconds>(deadline - steady_clock::now()).count();
  pollfd readable = {descriptor, POLLIN, 0};
  int ready = left > 0 ? poll(&readable, 1, static_cast<int>(left)) : 0;
  if (ready == 0) errno = ETIMEDOUT;
  return ready > 0;
}

// The length of the kernel's next datagram, which may exceed the buffer. Datagrams that another
// process sent to our port are dropped.
ssize_t receive_from_kernel(netlink_buffer& nlb) {
  steady_clock::time_point deadline = steady_clock::now() + std::chrono::seconds(k_netlink_timeout);
  for (;;) {
    if (!wait_until_readable(nlb.socket, deadline)) {
      if (errno == EINTR) continue;
      return -1;
    }
    sockaddr_nl sender = {};
    socklen_t sender_length = sizeof(sender);
    ssize_t length = recvfrom(nlb.socket, nlb.buffer.data(), nlb.buffer.size(),
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
  (void)!bind(nlb->socket, generic(address), sizeof(address));
  return nlb;
}

int netlink_close(netlink_buffer* nlb) {
  std::unique_ptr<netlink_buffer> owned(nlb);
  return owned->socket < 0 ? 0 : close(owned->socket);
}

int netlink_send_message(netlink_buffer* nlb, unsigned type, unsigned family) {
  printd("net: netlink_send_message, type 0x%02x, family %u\n", type, family);
  nlb->length = 0;
  nlb->offset = 0;
  auto request = netlink_request(type, family, ++nlb->sequence);
  sockaddr_nl kernel = netlink_address(0);
  ssize_t rc = 0;
  do {
    rc = sendto(nlb->socket, request.data(), request.size(), 0, generic(kernel), sizeof(kernel));
  } while (rc < 0 && errno == EINTR);
  if (rc < 0) {
    print_error("net: sendto", errno);
    return static_cast<int>(rc);
  }
  printd("net: sendto, rc = %d\n", static_cast<int>(rc));
  return 0;
}

int netlink_receive_message(netlink_buffer* nlb) {
  nlb->length = 0;
  nlb->offset = 0;
  printd("doing recvfrom on %i, %p, %i\n", nlb->socket, static_cast<void*>(nlb->buffer.data()),
         nlb->size);
  ssize_t length = receive_from_kernel(*nlb);
  if (length < 0) {
    print_error("net: recvmsg", errno);
    return -1;
  }
  if (length == 0) {
    printd("net: EOF on socket %d\n", nlb->socket);
    return -1;
  }
  printd("net: recvmsg, rc = %d\n", static_cast<int>(length));
  if (length > nlb->size) {
    printd("net: datagram of %d bytes cut to %d\n", static_cast<int>(length), nlb->size);
  }
  nlb->length = static_cast<int>(std::min<ssize_t>(length, nlb->size));
  print_hexdump("netlink message", nlb->buffer.data(), nlb->length, nullptr);
  return 0;
}

}  // namespace kestrel
