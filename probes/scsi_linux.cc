// The SCSI generic driver's version 2 interface and the scan over its nodes, /dev/sg*: which there
// are, where they sit, and which other nodes in /dev are theirs. A worker makes every call.
#include "probes/scsi_linux.h"

#include <fcntl.h>
#include <scsi/scsi.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "lib/debug.h"
#include "lib/filelst.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

using call = sg_request::call;

constexpr char k_device_folder[] = "/dev/";
constexpr unsigned k_max_nodes = 256;
constexpr int k_slow = 4;  // times the patience, for all devices together, until disks spin

struct device_class {
  const char* base;
  device_numbering mode;
  unsigned count;
};
constexpr device_class k_classes[] = {
    {"sd",    device_numbering::lettered, 128},
    {"scd",   device_numbering::numbered, 256},
    {"sr",    device_numbering::numbered, 256},
    {"nst",   device_numbering::numbered, 32 },
    {"nosst", device_numbering::numbered, 32 },
    {"sch",   device_numbering::numbered, 256},
};

std::string node_path(const char* base, unsigned index, device_numbering mode) {
  char path[32];
  return make_device_name(path, sizeof path, k_device_folder, base, "", index, mode);
}

std::string_view name_of(std::string_view path) {
  if (path.starts_with(k_device_folder)) path.remove_prefix(sizeof k_device_folder - 1);
  return path;
}

sg_request command_request(const std::string& path, byte_span cdb, size_t reply_size) {
  sg_request request(call::command, path);
  std::copy(cdb.begin(), cdb.end(), request.cdb.begin());
  request.cdb_size = static_cast<uint8_t>(cdb.size());
  request.reply_size = static_cast<uint8_t>(reply_size);
  return request;
}

/// False, and a zero address, when the node does not tell all of it.
bool read_address(const open_node& node, scsi_address& address) {
  uint32_t id[2] = {};
  if (ioctl(node.descriptor(), SCSI_IOCTL_GET_IDLUN, id) != 0) {
    print_error("scsi: SCSI_IOCTL_GET_IDLUN", errno);
    return false;
  }
  int bus = 0;
  if (ioctl(node.descriptor(), SCSI_IOCTL_GET_BUS_NUMBER, &bus) != 0) {
    print_error("scsi: SCSI_IOCTL_GET_BUS_NUMBER", errno);
    return false;
  }
  address = {id[0], id[1], bus};
  return true;
}

bool check_transfer(const char* what, ssize_t done, size_t wanted) {
  if (done >= 0 && static_cast<size_t>(done) == wanted) return true;
  if (done < 0) {
    print_error(format_text("scsi: %s", what).c_str(), errno);
  } else {
    printd("scsi: short %s, %d of %d\n", what, static_cast<int>(done), static_cast<int>(wanted));
  }
  return false;
}

void log_header(const sg_header& header) {
  printd(
      "scsi:\tpack_len: %d\nscsi:\treply_len: %d\nscsi:\tpack_id: %d\nscsi:\tresult: %d\n"
      "scsi:\ttarget_status: %d\nscsi:\thost_status: %d\nscsi:\tdriver_status: %d\n"
      "scsi:\tother: %d\n",
      header.pack_len, header.reply_len, header.pack_id, header.result,
      static_cast<int>(header.target_status), static_cast<int>(header.host_status),
      static_cast<int>(header.driver_status), static_cast<int>(header.other_flags));
}

}  // namespace

// --- the version 2 interface ----------------------------------------------------------------

std::vector<unsigned char> make_sg_request(byte_span cdb, size_t reply_length) {
  std::vector<unsigned char> buffer(k_sg_header_size + std::max(cdb.size(), reply_length));
  field_writer header(buffer);
  header.put_u32(0);  // pack_len
  header.put_u32(static_cast<uint32_t>(k_sg_header_size + reply_length));
  std::copy(cdb.begin(), cdb.end(), buffer.begin() + k_sg_header_size);
  return buffer;
}

sg_header parse_sg_header(byte_span bytes) {
  cursor at(bytes);
  sg_header header = {};
  header.pack_len = static_cast<int>(at.get_u32());
  header.reply_len = static_cast<int>(at.get_u32());
  header.pack_id = static_cast<int>(at.get_u32());
  header.result = static_cast<int>(at.get_u32());
  uint32_t bits = at.get_u32();
  header.twelve_byte = bits & 0x1;
  header.target_status = bits >> 1 & 0x1F;
  header.host_status = bits >> 6 & 0xFF;
  header.driver_status = bits >> 14 & 0xFF;
  header.other_flags = bits >> 22;
  byte_span sense = at.take(k_sg_sense_size);
  std::copy(sense.begin(), sense.end(), header.sense_buffer.begin());
  return header;
}

bool check_status(const sg_header& header) {
  constexpr unsigned k_check_condition = 0x02, k_command_terminated = 0x22, k_sense_present = 8;
  constexpr unsigned char k_recovered_error = 1;
  if ((header.target_status | header.host_status | header.driver_status) == 0) return true;
  // The driver keeps the status byte without its lowest bit.
  unsigned status = header.target_status << 1;
  bool has_sense = status == k_check_condition || status == k_command_terminated ||
                   header.driver_status == k_sense_present;
  return has_sense && header.sense_buffer[2] == k_recovered_error;
}

int sg_send_command(int descriptor, byte_span cdb, std::span<unsigned char> reply,
                    size_t& returned) {
  returned = 0;
  std::vector<unsigned char> buffer = make_sg_request(cdb, reply.size());
  size_t request = k_sg_header_size + cdb.size();
  if (!check_transfer("write", write(descriptor, buffer.data(), request), request)) return -1;
  std::fill(buffer.begin(), buffer.end(), static_cast<unsigned char>(0));
  size_t response = k_sg_header_size + reply.size();
  if (!check_transfer("read", read(descriptor, buffer.data(), response), response)) return -1;
  sg_header header = parse_sg_header(buffer);
  byte_span data = byte_span(buffer).subspan(k_sg_header_size, reply.size());
  if (is_logging()) {
    log_header(header);
    print_hexdump("RESPONSE", data.data(), static_cast<int>(data.size()), "scsi:");
  }
  if (!check_status(header)) return -1;
  std::copy(data.begin(), data.end(), reply.begin());
  returned = reply.size();
  return 0;
}

// --- nodes ----------------------------------------------------------------------------------

open_node::open_node(const char* path, int access)
    : descriptor_(::open(path, access | O_NONBLOCK | O_CLOEXEC)) {
  if (descriptor_ >= 0) {
    fcntl(descriptor_, F_SETFL, fcntl(descriptor_, F_GETFL) & ~O_NONBLOCK);
  } else if (errno != ENOENT && errno != ENODEV && errno != ENXIO) {
    print_error("scsi: open", errno);
  }
}

open_node::~open_node() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

// --- what can hang ---------------------------------------------------------------------------

std::set<std::string> sg_nodes::paths() {
  const FileList found("/dev/*");
  std::set<std::string> paths;
  for (size_t i = 0; i < found.size(); ++i) paths.insert(found[i]);
  return paths;
}

std::string sg_nodes::device_of(const std::string& path) {
  std::string name(name_of(path));
  if (name.starts_with("scd")) name.replace(0, 3, "sr");  // its second name, unknown to sysfs
  for (const char* kind : {"scsi_generic", "block", "scsi_tape", "onstream_tape", "scsi_changer"}) {
    char device[PATH_MAX];
    const std::string link = format_text("/sys/class/%s/%s/device", kind, name.c_str());
    if (realpath(link.c_str(), device) != nullptr) return device;
  }
  return path;
}

sg_answer sg_nodes::answer(const sg_request& request) {
  const char* path = request.path.data();
  sg_answer answer;
  if (request.what == call::find || request.what == call::locate) {
    const open_node node(path, O_RDONLY);
    answer.is_done =
        node.is_open() && (request.what == call::find || read_address(node, answer.address));
    return answer;
  }
  const open_node& node = open_.try_emplace(path, path, O_RDWR).first->second;
  if (!node.is_open()) {
    open_.erase(path);
  } else if (request.what == call::open) {
    read_address(node, answer.address);
    answer.is_done = true;
  } else {
    size_t returned = 0;
    const byte_span cdb = byte_span(request.cdb).first(request.cdb_size);
    const std::span reply = std::span(answer.reply).first(request.reply_size);
    answer.is_done = sg_send_command(node.descriptor(), cdb, reply, returned) == 0;
  }
  return answer;
}

// --- the enumerator -------------------------------------------------------------------------

std::unique_ptr<scsi_probe> scsi_probe::create() {
  auto probe = std::make_unique<scsi_linux_probe>();
  probe->open();
  return probe;
}

scsi_linux_probe::scsi_linux_probe(std::unique_ptr<sg_nodes> machine, int patience)
    : machine_(std::move(machine)),
      calls_(
          "SCSI PROBE", [this](const sg_request& request) { return machine_->answer(request); },
          patience),
      patience_(patience) {}

bool scsi_linux_probe::is_silent(const std::string& path) {
  return !silent_.empty() && silent_.contains(machine_->device_of(path));
}

bool scsi_linux_probe::ask(const sg_request& request, sg_answer& answer) {
  const std::string path = request.path.data();
  if (is_silent(path)) return false;
  if (calls_.ask(path, request, answer)) return true;
  if (calls_.is_silent(path)) silent_.insert(machine_->device_of(path));
  return false;
}

void scsi_linux_probe::open() {
  paths_ = machine_->paths();
  size_t records = count_nodes();
  printd("scsi: device_count = %d\n", static_cast<int>(records));
  for (const std::string& path : existing("sg", mode_, k_max_nodes)) {
    if (nodes_.size() < records) add_node(path);
  }
  map_class_devices();
  index_ = 0;
  get_current();
}

// The nodes of a driver that there are, in its order: asking for one that is not there costs a
// call.
std::vector<std::string> scsi_linux_probe::existing(const char* base, device_numbering mode,
                                                    unsigned count) const {
  std::vector<std::string> paths;
  for (unsigned i = 0; i < count; ++i) {
    std::string path = node_path(base, i, mode);
    if (paths_.empty() || paths_.contains(path)) paths.push_back(path);
  }
  return paths;
}

size_t scsi_linux_probe::count_nodes() {
  auto count = [this](device_numbering mode) {
    size_t found = 0;
    for (const std::string& path : existing("sg", mode, k_max_nodes)) {
      sg_answer answer;
      ask({call::find, path}, answer);
      if (answer.is_done) printd("scsi: found %s\n", path.c_str());
      if (answer.is_done || is_silent(path)) ++found;
    }
    return found;
  };
  mode_ = device_numbering::numbered;
  size_t found = count(mode_);
  if (found > 0) return found;
  printd("scsi: no sg devices found, trying sga-z\n");
  mode_ = device_numbering::lettered;
  return count(mode_);
}

void scsi_linux_probe::add_node(const std::string& path) {
  sg_answer answer;
  ask({call::open, path}, answer);
  if (!answer.is_done && !is_silent(path)) return;
  const scsi_address& address = answer.address;
  scsi_device device;
  device.host = address.bus;
  device.target = static_cast<int>(address.device_id & 0xFF);
  device.lun = static_cast<int>(address.device_id >> 8 & 0xFF);
  device.channel = static_cast<int>(address.device_id >> 16 & 0xFF);
  index_ = nodes_.size();
  nodes_.push_back({path, "", address, answer.is_done});
  devices_.push_back(device);
  get_current();
  read_inquiry();
}

void scsi_linux_probe::map_class_devices() {
  for (const device_class& kind : k_classes) {
    for (const std::string& path : existing(kind.base, kind.mode, kind.count)) {
      map_class_device(path);
    }
  }
}

void scsi_linux_probe::map_class_device(const std::string& path) {
  sg_answer answer;
  if (!ask({call::locate, path}, answer) || !answer.is_done) return;
  for (sg_node& generic : nodes_) {
    if (!generic.is_located || generic.address != answer.address) continue;
    printd("scsi: %s maps to %s\n", generic.path.c_str(), path.c_str());
    generic.class_path = path;
    break;
  }
}

bool scsi_linux_probe::get_current() {
  node_ = index_ < nodes_.size() ? &nodes_[index_] : nullptr;
  return scsi_probe::get_current();
}

void scsi_linux_probe::ask_all(byte_span cdb, size_t reply_size, bool is_slow) {
  std::vector<std::pair<std::string, sg_request>> requests;
  for (size_t i = 0; i < nodes_.size(); ++i) {
    const std::string& path = nodes_[i].path;
    if (devices_[i].blacklisted || is_silent(path)) continue;
    requests.emplace_back(path, command_request(path, cdb, reply_size));
  }
  const auto answers = calls_.ask_at_once(requests, is_slow ? k_slow * patience_ : patience_);
  for (size_t i = 0; i < requests.size(); ++i) {
    const std::string& path = requests[i].first;
    if (answers[i])
      ahead_[{
          path, {cdb.begin(), cdb.end()}
      }] = *answers[i];
    if (calls_.is_silent(path)) silent_.insert(machine_->device_of(path));
  }
}

// Each answer once: the next time the device itself tells.
bool scsi_linux_probe::take_ahead(byte_span cdb, sg_answer& answer) {
  const auto found = ahead_.find({
      node_->path, {cdb.begin(), cdb.end()}
  });
  if (found == ahead_.end()) return false;
  answer = found->second;
  ahead_.erase(found);
  return true;
}

int scsi_linux_probe::send_command(byte_span cdb, std::span<unsigned char> reply,
                                   size_t& returned) {
  returned = 0;
  if (node_ == nullptr) return -1;
  sg_answer answer;
  if (cdb.size() > sg_request::k_max_cdb || reply.size() > answer.reply.size()) return -1;
  const bool is_asked =
      take_ahead(cdb, answer) || ask(command_request(node_->path, cdb, reply.size()), answer);
  if (!is_asked || !answer.is_done) return -1;
  std::copy_n(answer.reply.begin(), reply.size(), reply.begin());
  returned = reply.size();
  return 0;
}

char* scsi_linux_probe::get_device_name(char* buffer, int size) {
  std::string path;
  if (node_ != nullptr) path = node_->class_path.empty() ? node_->path : node_->class_path;
  return format_string(buffer, static_cast<size_t>(std::max(size, 0)), "%s",
                       std::string(name_of(path)).c_str());
}

}  // namespace kestrel
