// The kernel's side of an rtnetlink conversation, played from memory.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace kestrel {

struct played_netlink {
  bool refuses_socket = false;
  bool refuses_request = false;
  /// The datagrams that answer each request type; behind the last one a receive fails.
  std::map<unsigned, std::vector<std::string>> datagrams;

  int open = 0;                        ///< conversations that are open now
  std::vector<unsigned char> request;  ///< the last one
  size_t next_datagram = 0;
};

/// What the next conversations play; assign to start afresh.
played_netlink& fake_netlink();

}  // namespace kestrel
