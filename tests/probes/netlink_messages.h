// Builds the messages of a played rtnetlink dump.
#pragma once

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cstdint>
#include <string>

namespace kestrel {

template <class Number>
std::string raw(Number value) {
  return std::string(reinterpret_cast<const char*>(&value), sizeof(value));
}

inline std::string attribute(int type, std::string payload) {
  std::string bytes = raw<uint16_t>(static_cast<uint16_t>(payload.size() + 4)) +
                      raw<uint16_t>(static_cast<uint16_t>(type)) + payload;
  bytes.resize((bytes.size() + 3) & ~size_t{3});
  return bytes;
}
inline std::string attribute(int type, const char* name) {
  return attribute(type, std::string(name) + '\0');
}

inline std::string message(int type, const std::string& payload, int flags = NLM_F_MULTI) {
  return raw<uint32_t>(static_cast<uint32_t>(payload.size() + 16)) +
         raw<uint16_t>(static_cast<uint16_t>(type)) + raw<uint16_t>(static_cast<uint16_t>(flags)) +
         raw<uint32_t>(1) + raw<uint32_t>(77) + payload;
}
inline std::string done() { return message(NLMSG_DONE, raw<int32_t>(0)); }

inline std::string link_header(int type, int index, uint32_t flags) {
  return raw<uint16_t>(0) + raw<uint16_t>(static_cast<uint16_t>(type)) + raw<int32_t>(index) +
         raw<uint32_t>(flags) + raw<uint32_t>(0);
}
inline std::string address_header(int family, int prefix, int index) {
  const char head[] = {static_cast<char>(family), static_cast<char>(prefix), 0, 0};
  return std::string(head, sizeof(head)) + raw<int32_t>(index);
}
inline std::string route_header(int destination_length, int scope, int type, int protocol = 2) {
  const char head[] = {AF_INET,
                       static_cast<char>(destination_length),
                       0,
                       0,
                       static_cast<char>(RT_TABLE_MAIN),
                       static_cast<char>(protocol),
                       static_cast<char>(scope),
                       static_cast<char>(type)};
  return std::string(head, sizeof(head)) + raw<uint32_t>(0);
}

}  // namespace kestrel
