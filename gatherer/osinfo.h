// Which operating system and distribution is running; every probe's platform test asks here.
#pragma once

namespace kestrel {

/// What the running system says about itself.
class os_info {
 public:
  /// The system's bit in the platform masks of tasks and probes; 1 is Linux.
  virtual int get_platform_id() = 0;
  /// All texts are written into the caller's buffer, cut to `size`, and returned.
  virtual char* get_platform_id(char* buffer, int size) = 0;
  virtual char* get_vendor(char* buffer, int size) = 0;
  virtual char* get_name(char* buffer, int size) = 0;
  virtual char* get_version(char* buffer, int size) = 0;
  virtual char* get_build(char* buffer, int size) = 0;
  virtual char* get_service_level(char* buffer, int size) = 0;
  /// True when `mask` and the platform id share a bit.
  virtual bool is(int mask);
  virtual ~os_info() = default;

  /// A new object for the running system, which the caller owns.
  static os_info* make_os_info();
  /// The one object of the process, created on first use, never destroyed.
  static os_info& get_instance();
  static os_info* instance;
};

/// Traces the rights of this process where a platform has something to tell; nothing on Linux.
void log_thread_privileges();

}  // namespace kestrel
