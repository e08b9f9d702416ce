// See vpd.h. The block is 47 bytes long as far as it is read, its texts stand at fixed positions
// and count only when they look like texts.
#include "lib/vpd.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "lib/ascii.h"
#include "lib/cursor.h"
#include "lib/debug.h"
#include "lib/pma_linux.h"
#include "lib/utilstr.h"

namespace kestrel {

namespace {

constexpr unsigned char k_signature[] = {0xAA, 0x55, 0x56, 0x50, 0x44};
constexpr size_t k_block_size = 47;

struct field {
  size_t offset, length;
};
constexpr field k_bios_version = {13, 9};
constexpr field k_serial = {22, 7};
constexpr field k_motherboard_serial = {29, 11};
constexpr field k_model = {40, 7};

std::string text_of(byte_span block, const field& where) {
  return text_field(block.subspan(where.offset, where.length));
}

bool is_text_character(char c) {
  return is_ascii_digit(c) || is_ascii_letter(c) || is_ascii_space(c);
}

bool is_plain_text(std::string_view text) {
  return std::all_of(text.begin(), text.end(), is_text_character);
}

byte_span find_block(byte_span area) {
  const unsigned char* found =
      FindSequence(area.data(), static_cast<int>(area.size()), k_signature, sizeof k_signature);
  if (found == nullptr) return {};
  const auto offset = static_cast<size_t>(found - area.data());
  printd("vpd: signature found at 0x000F%04X\n", static_cast<unsigned>(offset));
  return area.size() - offset < k_block_size ? byte_span() : area.subspan(offset, k_block_size);
}

}  // namespace

bool Vpd::init() {
  if (initialised_) return valid_;
  initialised_ = true;
  std::vector<unsigned char> area(k_bios_area_size);
  copy_physical_memory(k_bios_area, area.data(), k_bios_area_size);
  const byte_span block = find_block(area);
  if (block.empty()) return false;
  print_hexdump("VPD", block.data(), static_cast<int>(block.size()), nullptr);

  make_ = "ZYR";
  bios_version_ = text_of(block, k_bios_version);
  serial_ = text_of(block, k_serial);
  motherboard_serial_ = text_of(block, k_motherboard_serial);
  model_ = text_of(block, k_model);
  valid_ = is_plain_text(bios_version_) && serial_.size() == k_serial.length &&
           is_plain_text(serial_) && model_.size() == k_model.length && is_plain_text(model_);

  printd("vpd: vendor '%s'\n", make_.c_str());
  printd("vpd: model '%s'\n", model_.c_str());
  printd("vpd: serial '%s'\n", serial_.c_str());
  printd("vpd: bios '%s'\n", bios_version_.c_str());
  printd("vpd: motherboard_serial '%s'\n", motherboard_serial_.c_str());
  printd("vpd: valid '%s'\n", valid_ ? "true" : "false");
  return valid_;
}

std::string Vpd::get_make() { return init() ? make_ : "Unknown"; }
std::string Vpd::get_model() { return init() ? model_ : "Unknown"; }
std::string Vpd::get_serial_number() { return init() ? serial_ : "Unknown"; }
std::string Vpd::get_motherboard_serial_number() {
  return init() ? motherboard_serial_ : "Unknown";
}
std::string Vpd::get_bios_version() { return init() ? bios_version_ : "Unknown"; }

}  // namespace kestrel
