// Makes records of the kernel's link messages: the name, the addresses and the counters of an
// interface stand in attributes, its hardware type and its flags in the message's head.
#include "probes/net_link_linux.h"

#include <linux/rtnetlink.h>

#include <cstddef>

#include "lib/decode.h"
#include "lib/utilstr.h"

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

decltype(rtnl_link_info::stats) counters_in(byte_span block) {
  decltype(rtnl_link_info::stats) counters = {};
  cursor in(block);
  for (uint32_t& counter : counters) counter = in.get_host32();
  return counters;
}

void take_attribute(const netlink_attribute& attribute, rtnl_link_info& link) {
  const byte_span value = attribute.payload;
  switch (attribute.type) {
    case IFLA_ADDRESS:
      link.address = rtnl_link_address(value);
      break;
    case IFLA_IFNAME:
      link.name = text_field(value);
      break;
    case IFLA_MTU:
      link.mtu = attribute.number();
      break;
    case IFLA_STATS:
      link.stats = counters_in(value);
      break;
    default:
      break;
  }
}

}  // namespace

std::string rtnl_link_type(int type) {
  // Misspelled in the report on purpose.
  return name_of(k_link_types, static_cast<uint32_t>(type),
                 format_text("uknown type %d", type).c_str());
}

std::string rtnl_link_flags(uint32_t flags) { return names_of(k_link_flags, flags, "", " "); }

std::optional<rtnl_link_info> parse_link_message(byte_span payload) {
  cursor in(payload, offsetof(ifinfomsg, ifi_type));
  rtnl_link_info link;
  link.type = rtnl_link_type(in.get_host16());
  link.index = static_cast<int>(in.get_host32());
  link.flags = rtnl_link_flags(in.get_host32());
  in.seek(sizeof(ifinfomsg));
  if (in.failed()) return {};
  for (const netlink_attribute& attribute : netlink_attributes(in.take_rest())) {
    take_attribute(attribute, link);
  }
  return link;
}

std::optional<rtnl_link_info> rtnl_next_link(netlink_buffer& nlb) {
  const auto message = netlink_next_message(nlb, RTM_GETLINK, RTM_NEWLINK);
  return message ? parse_link_message(message->payload) : std::nullopt;
}

}  // namespace kestrel
