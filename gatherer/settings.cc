// The store behind the settings: plain values of this process, written while the run is configured
// and, but for the return code and stepping, only read afterwards.
#include "gatherer/settings.h"

namespace kestrel {
namespace {

int settings[setting_count];
const char* filenames[3];
const char* subversion = "";

}  // namespace

int gatherer_setting(int index, setting_mode mode, int value) {
  int before = settings[index];
  if (mode == setting_on) settings[index] = 1;
  if (mode == setting_off) settings[index] = 0;
  if (mode == setting_set) settings[index] = value;
  return before;
}

const char* gatherer_filename(filename_setting slot, setting_mode mode, const char* value) {
  if (mode == setting_off) filenames[slot] = nullptr;
  if (mode == setting_on || mode == setting_set) filenames[slot] = value;
  return filenames[slot];
}

void fail_run() { gatherer_setting(setting_return_code, setting_set, 1); }

const char* get_subversion() { return subversion; }

void set_subversion(const char* name) { subversion = name; }

}  // namespace kestrel
