// See net_link_linux.h.
#include "probes/net_link_linux.h"

#include <linux/rtnetlink.h>

#include <algorithm>

#include "lib/decode.h"
#include "lib/utilstr.h"
#include "probes/net_lib_linux.h"

namespace kestrel {
namespace {

constexpr code_name k_link_types[] = {
    {0,     "unspec"    },
    {1,     "ether"     },
    {2,     "eether"    },
    {3,     "ax25"      },
    {4,     "pronet"    },
    {5,     "chaos"     },
    {6,     "tr"        },
    {7,     "arcnet"    },
    {8,     "atalk"     },
    {15,    "dlci"      },
    {19,    "atm"       },
    {23,    "metricom"  },
    {24,    "ieee1394"  },
    {256,   "slip"      },
    {257,   "cslip"     },
    {258,   "slip6"     },
    {259,   "cslip6"    },
    {260,   "rsrvd"     },
    {264,   "adapt"     },
    {270,   "rose"      },
    {271,   "x25"       },
    {272,   "hwx25"     },
    {512,   "ppp"       },
    {513,   "hdlc"      },
    {516,   "lapb"      },
    {517,   "ddcmp"     },
    {518,   "rawhdlc"   },
    {768,   "ipip"      },
    {769,   "tunnel6"   },
    {770,   "frad"      },
    {771,   "skip"      },
    {772,   "loopback"  },
    {773,   "ltalk"     },
    {774,   "fddi"      },
    {775,   "bif"       },
    {776,   "sit"       },
    {777,   "ip/ddp"    },
    {778,   "gre"       },
    {779,   "pimreg"    },
    {780,   "hippi"     },
    {781,   "ash"       },
    {782,   "econet"    },
    {783,   "irda"      },
    {784,   "fcpp"      },
    {785,   "fcal"      },
    {786,   "fcpl"      },
    {787,   "fcfb0"     },
    {788,   "fcfb1"     },
    {789,   "fcfb2"     },
    {790,   "fcfb3"     },
    {791,   "fcfb4"     },
    {792,   "fcfb5"     },
    {793,   "fcfb6"     },
    {794,   "fcfb7"     },
    {795,   "fcfb8"     },
    {796,   "fcfb9"     },
    {797,   "fcfb10"    },
    {798,   "fcfb11"    },
    {799,   "fcfb12"    },
    {800,   "tr"        },
    {801,   "ieee802.11"},
    {65535, "void"      },
};

// In the order in which the report names them.
constexpr mask_name k_link_flags[] = {
    {0x1,    "UP"         },
    {0x40,   "RUNNING"    },
    {0x8,    "LOOPBACK"   },
    {0x2,    "BROADCAST"  },
    {0x10,   "POINTOPOINT"},
    {0x1000, "MULTICAST"  },
    {0x80,   "NOARP"      },
    {0x200,  "ALLMULTI"   },
    {0x100,  "PROMISC"    },
    {0x400,  "MASTER"     },
    {0x800,  "SLAVE"      },
    {0x4,    "DEBUG"      },
    {0x8000, "DYNAMIC"    },
    {0x4000, "AUTOMEDIA"  },
    {0x2000, "PORTSEL"    },
    {0x20,   "NOTRAILERS" },
};

constexpr size_t k_type_offset = 2;
constexpr size_t k_index_offset = 4;
constexpr size_t k_flags_offset = 8;

void take_link_attribute(const netlink_attribute& attribute, rtnl_link_info& link) {
  byte_span value = attribute.payload;
  if (attribute.type == IFLA_ADDRESS) {
    rtnl_link_address(value.data(), static_cast<int>(value.size()), link.address,
                      sizeof(link.address));
  } else if (attribute.type == IFLA_IFNAME) {
    copy_netlink_name(value, link.name, sizeof(link.name));
  } else if (attribute.type == IFLA_MTU) {
    link.mtu = host_value<uint32_t>(value);
  } else if (attribute.type == IFLA_STATS) {
    memcpy(link.stats.data(), value.data(), std::min(value.size(), sizeof(link.stats)));
  }
}

}  // namespace

void rtnl_link_type(int type, char* out, int size) {
  size_t room = static_cast<size_t>(size);
  const char* name = name_of(k_link_types, static_cast<uint32_t>(type), nullptr);
  if (name != nullptr) {
    format_string(out, room, "%s", name);
  } else {
    format_string(out, room, "uknown type %d", type);  // Misspelled in the report on purpose.
  }
}

void rtnl_link_flags(int flags, char* out, int size) {
  std::string words = names_of(k_link_flags, static_cast<uint32_t>(flags), "", " ");
  format_string(out, static_cast<size_t>(size), "%s", words.c_str());
}

bool parse_link_message(byte_span payload, rtnl_link_info& link) {
  link = {};
  if (payload.size() < sizeof(ifinfomsg)) return false;
  link.index = host_value<int32_t>(payload, k_index_offset);
  rtnl_link_type(host_value<uint16_t>(payload, k_type_offset), link.type, sizeof(link.type));
  rtnl_link_flags(host_value<int32_t>(payload, k_flags_offset), link.flags, sizeof(link.flags));
  attribute_walk walk(payload.subspan(sizeof(ifinfomsg)));
  for (netlink_attribute attribute; walk.next(attribute);) take_link_attribute(attribute, link);
  return true;
}

int rtnl_next_link(netlink_buffer* nlb, rtnl_link_info* link) {
  netlink_message message;
  int rc = netlink_next_message(nlb, RTM_GETLINK, RTM_NEWLINK, message);
  if (rc != 0) return rc;
  return parse_link_message(message.payload, *link) ? 0 : -1;
}

}  // namespace kestrel
