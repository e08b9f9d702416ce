// The body of the netlink door for test programs: answers each request with the datagrams that the
// test laid down for its type, which it reads from the request's bytes.
#include "tests/doors/fake_net_socket.h"

#include <linux/netlink.h>

#include <cstddef>

#include "probes/net_socket_linux.h"

namespace kestrel {

played_netlink& fake_netlink() {
  static played_netlink played;
  return played;
}

netlink_ptr netlink_open() {
  // A second socket could not be bound to the process id.
  if (fake_netlink().refuses_socket || fake_netlink().open > 0) return nullptr;
  ++fake_netlink().open;
  return netlink_ptr(new netlink_buffer);
}

int netlink_close(netlink_buffer* nlb) {
  delete nlb;
  --fake_netlink().open;
  return 0;
}

bool netlink_send(const netlink_buffer&, byte_span request) {
  played_netlink& played = fake_netlink();
  played.request.assign(request.begin(), request.end());
  played.next_datagram = 0;
  return !played.refuses_request;
}

bool netlink_receive_message(netlink_buffer& nlb) {
  played_netlink& played = fake_netlink();
  const uint16_t type = cursor(played.request, offsetof(nlmsghdr, nlmsg_type)).get_host16();
  const std::vector<std::string>& answer = played.datagrams[type];
  nlb.length = 0;
  nlb.offset = 0;
  if (played.next_datagram >= answer.size()) return false;
  const std::string datagram = answer[played.next_datagram++].substr(0, k_netlink_buffer_size);
  // Exactly as long as the datagram, so that the address sanitizer sees a read past its end.
  nlb.buffer = {datagram.begin(), datagram.end()};
  nlb.length = datagram.size();
  return true;
}

}  // namespace kestrel
