// See fake_net_socket.h. The body of the door for test programs.
#include "tests/doors/fake_net_socket.h"

#include <algorithm>

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

int netlink_send_message(netlink_buffer* nlb, unsigned type, unsigned) {
  played_netlink& played = fake_netlink();
  ++nlb->sequence;
  played.requested = type;
  played.next_datagram = 0;
  return played.refuses_request ? -1 : 0;
}

int netlink_receive_message(netlink_buffer* nlb) {
  played_netlink& played = fake_netlink();
  const std::vector<std::string>& answer = played.datagrams[played.requested];
  nlb->length = 0;
  nlb->offset = 0;
  if (played.next_datagram >= answer.size()) return -1;
  const std::string& datagram = answer[played.next_datagram++];
  nlb->length = std::min(static_cast<int>(datagram.size()), nlb->size);
  // Exactly as long as the datagram, so that the address sanitizer sees a read past its end.
  nlb->buffer = std::vector<unsigned char>(datagram.begin(), datagram.begin() + nlb->length);
  return 0;
}

}  // namespace kestrel
