// The enumerator over the SCSI generic driver: its nodes /dev/sg*, and commands in the driver's
// version 2 interface, which is a header and the command written, a header and the reply read
// (Linux, include/scsi/sg.h).
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "lib/util_linux.h"
#include "lib/worker_server.h"
#include "probes/scsi.h"

namespace kestrel {

inline constexpr size_t k_sg_header_size = 36;  ///< bytes of struct sg_header
inline constexpr size_t k_sg_sense_size = 16;   ///< SG_MAX_SENSE

/// Header of a version 2 request or response, with the names of the driver's own.
struct sg_header {
  int pack_len, reply_len, pack_id, result;
  unsigned twelve_byte, target_status, host_status, driver_status, other_flags;
  std::array<unsigned char, k_sg_sense_size> sense_buffer;
};

/// A request: header and command, in a buffer that also takes the reply. Bytes not set are zero.
std::vector<unsigned char> make_sg_request(byte_span cdb, size_t reply_length);
/// Fields past the end of `bytes` are zero.
sg_header parse_sg_header(byte_span bytes);
/// Whether the command succeeded; an error that the device recovered from is none.
bool check_status(const sg_header& header);
/// Sends a command through an open node; see `scsi_probe::send_command`.
int sg_send_command(int descriptor, byte_span cdb, std::span<unsigned char> reply,
                    size_t& returned);

/// An open device node, closed when its owner goes.
class open_node {
 public:
  /// Opens without blocking, to work on it blocking. Errors other than that there is no such
  /// device are logged.
  open_node(const char* path, int access);
  open_node(open_node&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  open_node& operator=(open_node&&) = delete;
  ~open_node();
  bool is_open() const { return descriptor_ >= 0; }
  int descriptor() const { return descriptor_; }

 private:
  int descriptor_;
};

/// Where a device sits, as the kernel tells for every kind of node: equal for the nodes of one
/// device.
struct scsi_address {
  uint32_t device_id = 0;  ///< target in bits 0-7, lun 8-15, channel 16-23
  uint32_t host_unique_id = 0;
  int bus = 0;
  bool operator==(const scsi_address&) const = default;
};

/// One question to a device node.
struct sg_request {
  enum class call : uint8_t {
    find,     ///< open it for reading, as one that may be asked
    open,     ///< open it for commands and keep it open; its address
    locate,   ///< open it for reading; its address
    command,  ///< send it `cdb`
  };
  static constexpr size_t k_max_cdb = 16;  ///< what the driver takes

  sg_request(call asked, std::string_view node) : what(asked) {
    path[node.copy(path.data(), path.size() - 1)] = '\0';
  }
  sg_request() = default;

  call what = call::find;
  std::array<char, 32> path = {};
  uint8_t cdb_size = 0;
  uint8_t reply_size = 0;
  std::array<unsigned char, k_max_cdb> cdb = {};
};

struct sg_answer {
  bool is_done = false;  ///< opened; to `locate`, and told its address; the command succeeded
  scsi_address address;  ///< zero when it does not tell
  std::array<unsigned char, k_scsi_inquiry_size> reply = {};
};

/// The device nodes of the machine; a test plays them.
class sg_nodes {
 public:
  virtual ~sg_nodes() = default;
  /// What there is in /dev and is worth asking; nothing when the folder cannot be read.
  virtual std::set<std::string> paths();
  /// What is the same for all nodes of one device, told without asking it: its path in sysfs, or
  /// else the node's path.
  virtual std::string device_of(const std::string& path);
  /// Answers a question. It can hang in the kernel.
  virtual sg_answer answer(const sg_request& request);

 private:
  std::map<std::string, open_node> open_;
};

/// A node of the generic driver.
struct sg_node {
  std::string path;        ///< "/dev/sg0"
  std::string class_path;  ///< "/dev/sda"; "" when no class driver has the device
  scsi_address address;
  bool is_located = true;  ///< false: it hung before it could tell
};

/// The enumerator of this system. A worker asks the nodes and keeps one open for each device. A
/// device that hangs has a row of what it told before, and is not asked again, by whatever node.
class scsi_linux_probe : public scsi_probe {
 public:
  explicit scsi_linux_probe(std::unique_ptr<sg_nodes> machine = std::make_unique<sg_nodes>(),
                            int patience = k_worker_patience);
  ~scsi_linux_probe() override = default;

  /// Scans the machine, once; the first device is current then.
  void open();

  /// Fails for commands of more than sg_request::k_max_cdb and replies of more than 255 bytes.
  int send_command(byte_span cdb, std::span<unsigned char> reply, size_t& returned) override;
  /// The class node's name ("sda") or else the generic node's ("sg0").
  char* get_device_name(char* buffer, int size) override;
  bool get_current() override;

 private:
  void ask_all(byte_span cdb, size_t reply_size, bool is_slow) override;
  bool take_ahead(byte_span cdb, sg_answer& answer);
  bool is_silent(const std::string& path);
  bool ask(const sg_request& request, sg_answer& answer);
  std::vector<std::string> existing(const char* base, device_numbering mode, unsigned count) const;
  size_t count_nodes();
  void add_node(const std::string& path);
  void map_class_devices();
  void map_class_device(const std::string& path);

  std::unique_ptr<sg_nodes> machine_;
  device_calls<sg_request, sg_answer> calls_;
  std::set<std::string> paths_;   // of all nodes
  std::set<std::string> silent_;  // devices that hang
  device_numbering mode_ = device_numbering::numbered;
  std::vector<sg_node> nodes_;
  sg_node* node_ = nullptr;
  int patience_;
  using node_command = std::pair<std::string, std::vector<unsigned char>>;
  std::map<node_command, sg_answer> ahead_;  // of those asked at once, not taken yet
};

}  // namespace kestrel
