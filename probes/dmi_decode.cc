// One call a field into the tables of dmi_names.h; the few fields that are sums, sizes or packed
// numbers are worked out here.
#include "probes/dmi_decode.h"

#include "lib/dmi.h"
#include "lib/utilstr.h"
#include "probes/dmi_names.h"

namespace kestrel {

namespace {

using namespace smbios_names;

constexpr const char* k_invalid_type = "Error: Invalid Type";
constexpr const char* k_invalid_state = "Error: Invalid State";
constexpr const char* k_invalid_status = "Error: Invalid Status";
constexpr const char* k_invalid_family = "Error: Invalid Family";
constexpr const char* k_invalid_interleave = "Error: Invalid Interleave";
constexpr const char* k_invalid_size = "Error: Invalid Size";
constexpr const char* k_invalid_width = "Error: Invalid Width";
constexpr const char* k_invalid_usage = "Error: Invalid Usage";
constexpr const char* k_invalid_length = "Error: Invalid Length";
constexpr const char* k_invalid_language = "Error: Invalid Language";

}  // namespace

// --- type 0 ------------------------------------------------------------------------------------

std::string getRomSize(uint32_t code) { return name_of(k_rom_sizes, code, k_invalid_size); }

// --- type 1 ------------------------------------------------------------------------------------

std::string getWakeUpType(uint32_t code) { return name_of(k_wake_up_types, code, k_invalid_type); }

// --- type 3 ------------------------------------------------------------------------------------

std::string getChassisName(uint32_t type) {
  constexpr uint32_t k_lock_flag = 0x80;
  return Dmi::getChassisType(static_cast<unsigned char>(type & ~k_lock_flag));
}

std::string getChassisState(uint32_t code) {
  return name_of(k_chassis_states, code, k_invalid_state);
}

std::string getSecurityStatus(uint32_t code) {
  return name_of(k_security_statuses, code, k_invalid_status);
}

// --- type 4 ------------------------------------------------------------------------------------

std::string getProcessorType(uint32_t code) {
  return name_of(k_processor_types, code, k_invalid_type);
}

std::string getProcessorFamily(uint32_t code) {
  return name_of(k_processor_families, code, k_invalid_family);
}

std::string getProcessorStatus(uint32_t status) {
  constexpr uint32_t k_populated = 0x40, k_status = 0x07;
  if ((status & k_populated) == 0) return "Unpopulated";
  return name_of(k_processor_statuses, status & k_status, k_invalid_status);
}

std::string getProcessorUpgrade(uint32_t code) {
  return name_of(k_processor_upgrades, code, k_invalid_type);
}

// --- types 5 and 6 -----------------------------------------------------------------------------

std::string getMemCtrlErrDetect(uint32_t code) {
  return name_of(k_error_detecting_methods, code, k_invalid_type);
}

std::string getMemCtrlCorCapable(uint32_t bits) {
  return bit_names(k_error_correcting_capabilities, bits, k_invalid_type);
}

std::string getMemCtrlInterleave(uint32_t code) {
  return name_of(k_interleaves, code, k_invalid_interleave);
}

std::string getMemoryModuleVoltage(uint32_t bits) {
  return bit_names(k_module_voltages, bits, k_invalid_type);
}

std::string getMemorySpeeds(uint32_t bits) {
  return bit_names(k_memory_speeds, bits, k_invalid_type);
}

std::string getMemoryType(uint32_t bits) { return Dmi::getType06MemoryType(bits); }

std::string getPowerOfTwoMemorySize(uint32_t code) {
  constexpr uint32_t k_largest_code = 30;
  return code <= k_largest_code ? format_text("%d M", 1 << code) : k_invalid_size;
}

std::string getMemoryModuleSize(uint32_t size) {
  constexpr uint32_t k_double_bank = 0x80;
  const uint32_t code = size & ~k_double_bank;
  const char* name = name_of(k_module_sizes, code, nullptr);
  return name != nullptr ? name : getPowerOfTwoMemorySize(code);
}

// --- type 7 ------------------------------------------------------------------------------------

std::string getCacheLevel(uint32_t configuration) {
  return format_text("L%c", static_cast<int>('1' + (configuration & 7)));
}

std::string getCacheMode(uint32_t configuration) {
  return name_of(k_cache_modes, configuration >> 8 & 3, k_invalid_type);
}

std::string getCacheSize(uint32_t size) {
  constexpr uint32_t k_in_units_of_64k = 0x8000;
  const uint32_t units = size & ~k_in_units_of_64k;
  return format_text("%d K", static_cast<int>(size == units ? units : units * 64));
}

std::string getCacheSRAMType(uint32_t bits) {
  return bit_names(k_sram_types, bits, k_invalid_type);
}

std::string getErrorCorrectionType(uint32_t code) {
  return name_of(k_error_correction_types, code, k_invalid_type);
}

std::string getSystemCacheType(uint32_t code) {
  return name_of(k_system_cache_types, code, k_invalid_type);
}

std::string getAssociativity(uint32_t code) {
  return name_of(k_associativities, code, k_invalid_type);
}

// --- types 8 to 10 -----------------------------------------------------------------------------

std::string getPortType(uint32_t code) { return name_of(k_port_types, code, k_invalid_type); }

std::string getConnectorType(uint32_t code) {
  return name_of(k_connector_types, code, k_invalid_type);
}

std::string getSlotType(uint32_t code) { return name_of(k_slot_types, code, k_invalid_type); }

std::string getSlotDataBusWidth(uint32_t code) {
  return name_of(k_slot_widths, code, k_invalid_width);
}

std::string getSlotUsage(uint32_t code) { return name_of(k_slot_usages, code, k_invalid_usage); }

std::string getSlotLength(uint32_t code) { return name_of(k_slot_lengths, code, k_invalid_length); }

std::string getSlotCharacteristics(uint32_t bits) {
  return bit_names(k_slot_characteristics, bits, k_invalid_type);
}

std::string getSlotCharacteristics2(uint32_t bits) {
  return bit_names(k_slot_characteristics2, bits, k_invalid_type);
}

std::string getDeviceType(uint32_t type) {
  constexpr uint32_t k_enabled = 0x80;
  return name_of(k_device_types, type & ~k_enabled, k_invalid_type);
}

std::string getEnabled(uint32_t value) {
  constexpr uint32_t k_enabled = 0x80;
  return (value & k_enabled) != 0 ? "Enabled" : "Disabled";
}

// --- type 13 -----------------------------------------------------------------------------------

std::string getLanguage(std::string_view code) {
  std::string_view rest = code;
  std::string key(next_field(rest, '|'));
  if (key.size() == 2) key += next_field(rest, '|');
  for (const language_name& language : k_languages) {
    if (key == language.code) return language.name;
  }
  return k_invalid_language;
}

// --- types 16 to 18 ----------------------------------------------------------------------------

std::string getArrayLocation(uint32_t code) {
  return name_of(k_array_locations, code, k_invalid_type);
}

std::string getUse(uint32_t code) { return name_of(k_array_uses, code, k_invalid_usage); }

std::string getErrorCorrection(uint32_t code) {
  return name_of(k_array_error_corrections, code, k_invalid_type);
}

std::string getArrayCapacity(uint32_t kilobytes) {
  constexpr uint32_t k_unknown = 0x80000000;
  if (kilobytes == k_unknown) return "Unknown";
  const bool whole_megabytes = kilobytes != 0 && kilobytes % 1024 == 0;
  return whole_megabytes ? format_text("%u M", kilobytes / 1024) : format_text("%u K", kilobytes);
}

std::string getFormFactor(uint32_t code) { return Dmi::getType17FormFactor(code); }

std::string getMemoryDeviceType(uint32_t code) { return Dmi::getType17MemoryType(code); }

std::string getMemoryDetail(uint32_t bits) {
  return bit_names(k_memory_details, bits, k_invalid_type);
}

std::string getMemoryErrorType(uint32_t code) {
  return name_of(k_memory_error_types, code, k_invalid_type);
}

std::string getMemoryErrorGranularity(uint32_t code) {
  return name_of(k_memory_error_granularities, code, k_invalid_type);
}

std::string getMemoryErrorOperation(uint32_t code) {
  return name_of(k_memory_error_operations, code, k_invalid_type);
}

// --- types 21 to 24 ----------------------------------------------------------------------------

std::string getMouseType(uint32_t code) { return name_of(k_mouse_types, code, k_invalid_type); }

std::string getMouseInterface(uint32_t code) {
  return name_of(k_mouse_interfaces, code, k_invalid_type);
}

std::string getBatteryChemistry(uint32_t code) {
  return name_of(k_battery_chemistries, code, k_invalid_type);
}

std::string getBatteryDate(uint32_t packed) {
  constexpr uint32_t k_first_year = 1980;
  if (packed == 0) return "";
  return format_text("%04u-%02u-%02u", k_first_year + (packed >> 9), packed >> 5 & 15, packed & 31);
}

std::string getResetCapabilities(uint32_t bits) {
  constexpr uint32_t k_enabled = 0x01, k_watchdog = 0x20;
  std::string text = (bits & k_enabled) != 0 ? "Enabled" : "Disabled";
  text += format_text(", Boot Option: %s", name_of(k_boot_options, bits >> 1 & 3, k_invalid_type));
  text += format_text(", Boot Option on Limit: %s",
                      name_of(k_boot_options, bits >> 3 & 3, k_invalid_type));
  if ((bits & k_watchdog) != 0) text += ", Watchdog Timer";
  return text;
}

namespace {

std::string password_status(uint32_t code) {
  return name_of(k_password_statuses, code & 3, k_invalid_status);
}

}  // namespace

std::string getPowerOnPasswordStatus(uint32_t settings) { return password_status(settings >> 6); }
std::string getKeyboardPasswordStatus(uint32_t settings) { return password_status(settings >> 4); }
std::string getAdministratorPasswordStatus(uint32_t settings) {
  return password_status(settings >> 2);
}
std::string getFrontPanelResetStatus(uint32_t settings) { return password_status(settings); }

// --- types 26 to 32 ----------------------------------------------------------------------------

namespace {

// Place (or kind) and status share a byte.
std::string place_and_status(std::span<const code_name> places, uint32_t code) {
  return format_text("%s, %s", name_of(places, code & 0x1F, k_invalid_type),
                     name_of(k_probe_statuses, code >> 5 & 7, k_invalid_status));
}

}  // namespace

std::string getElectricalProbePlace(uint32_t code) {
  return place_and_status(k_electrical_probe_locations, code);
}

std::string getTemperatureProbePlace(uint32_t code) {
  return place_and_status(k_temperature_probe_locations, code);
}

std::string getCoolingDevice(uint32_t code) { return place_and_status(k_cooling_types, code); }

std::string getBootStatus(uint32_t code) {
  constexpr uint32_t k_first_of_vendor = 128, k_first_of_product = 192;
  if (code >= k_first_of_product) return "Product-specific";
  if (code >= k_first_of_vendor) return "Vendor/OEM-specific";
  return name_of(k_boot_statuses, code, k_invalid_status);
}

// --- plain values ------------------------------------------------------------------------------

std::string smbios_own_handle(uint32_t handle) { return format_text("%04X", handle); }

std::string smbios_hex2(uint32_t value) { return format_text("%02Xh", value); }

std::string smbios_hex4(uint32_t value) { return format_text("%04Xh", value); }

std::string smbios_hex8(uint32_t value) {
  return format_text("%08lXh", static_cast<unsigned long>(value));
}

std::string smbios_error_address(uint32_t address) {
  constexpr uint32_t k_unknown = 0x80000000;
  return address == k_unknown ? "Unknown" : smbios_hex8(address);
}

std::string smbios_decimal(uint32_t value) { return format_text("%u", value); }

std::string smbios_position(uint32_t position) {
  constexpr uint32_t k_unknown = 0xFF;
  return position == k_unknown ? "Unknown" : smbios_hex2(position);
}

namespace {

// A reading is a signed word in units of 10 to the power of -`decimals`.
std::string reading(uint32_t word, int decimals, const char* unit) {
  constexpr uint32_t k_unknown = 0x8000;
  if (word == k_unknown) return "Unknown";
  const int value = static_cast<int16_t>(word);
  int scale = 1;
  for (int i = 0; i < decimals; ++i) scale *= 10;
  const int size = value < 0 ? -value : value;
  std::string text = format_text("%s%d", value < 0 ? "-" : "", size / scale);
  if (decimals > 0) text += format_text(".%0*d", decimals, size % scale);
  return text + unit;
}

}  // namespace

std::string smbios_millivolts(uint32_t word) { return reading(word, 0, " mV"); }
std::string smbios_millivolt_tenths(uint32_t word) { return reading(word, 1, " mV"); }
std::string smbios_milliamperes(uint32_t word) { return reading(word, 0, " mA"); }
std::string smbios_milliampere_tenths(uint32_t word) { return reading(word, 1, " mA"); }
std::string smbios_degree_tenths(uint32_t word) { return reading(word, 1, " deg C"); }
std::string smbios_degree_thousandths(uint32_t word) { return reading(word, 3, " deg C"); }
std::string smbios_percent_hundredths(uint32_t word) { return reading(word, 2, " %"); }

}  // namespace kestrel
