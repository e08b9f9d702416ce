// VPD: the input is how the card behaves, its capability list and the data behind its address
// register. Nothing that it says may make us write anything but a read request.
#include <cstdlib>

#include "probes/pci.h"
#include "tests/doors/fake_pci.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kestrel;
  if (size < 4) return 0;
  fake_pci() = {};
  played_function& card = fake_pci().functions[0];
  for (unsigned i = 4; i < size && i < 0x100; i += 2) card.set8(i, data[i]);
  card.add_vpd(static_cast<uint8_t>(data[0] % 0xF9), {data + 4, data + size});
  card.set8(0x34, data[1]);  // may lead elsewhere
  card.polls_needed = data[2] < 0xF0 ? 2 + data[2] / 16 : 2000;
  if (data[3] != 0) card.reads_left = data[3] * 16;
  uint8_t capability = pcivpd_find_capability(0, 0, 0);
  if (capability != 0) card.vpd_at = capability;
  pci_vpd_xxx vpd;
  pcivpd_analyse_vpd(0, 0, 0, card.vpd_at, vpd);
  if (card.harmed || (!card.addresses.empty() && card.vpd_at < 0x40)) std::abort();
  if (fake_pci().milliseconds > k_vpd_max_milliseconds) std::abort();
  return 0;
}
