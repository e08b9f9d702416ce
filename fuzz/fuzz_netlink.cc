// rtnetlink dumps: the first byte selects the request, the rest is the datagram that answers it.
#include <linux/rtnetlink.h>

#include "probes/net_addr_linux.h"
#include "probes/net_link_linux.h"
#include "probes/net_route_linux.h"
#include "tests/doors/fake_net_socket.h"

using namespace kestrel;

template <class Next>
static void dump(unsigned type, Next next, const std::string& datagram) {
  fake_netlink() = {};
  fake_netlink().datagrams[type] = {datagram};
  const netlink_ptr nlb = netlink_open();
  while (next(*nlb)) continue;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  std::string datagram(reinterpret_cast<const char*>(data) + 1, size - 1);
  if (data[0] % 3 == 0) dump(RTM_GETLINK, rtnl_next_link, datagram);
  if (data[0] % 3 == 1) dump(RTM_GETADDR, rtnl_next_addr, datagram);
  if (data[0] % 3 == 2) dump(RTM_GETROUTE, rtnl_next_route, datagram);
  return 0;
}
