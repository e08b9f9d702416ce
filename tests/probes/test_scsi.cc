// SCSI tables over played devices, whose replies were recorded on emulated machines, and the
// version 2 interface over a socket that plays the driver.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include "lib/notice.h"
#include "lib/stop.h"
#include "lib/utilstr.h"
#include "probes/scsi_linux.h"
#include "probes/scsi_probe.h"
#include "tests/probes/played_scsi.h"
#include "tests/probes/report_rows.h"

namespace kestrel {
namespace {

using namespace std::string_literals;

const std::string k_disk =
    "\0\0\5\x12\xfa\0\0\x12"
    "EXAMPLE FAST DISK 36    1.07"s;
const std::string k_drive =
    "\5\x80\5\x32\x1f\0\0\0"
    "EXAMPLE DVD-ROM         3.0\0"s;
const std::string k_sense = "\0\x1c\x70\0\0\0\0\0\x2a\x14\x3b\0\x71\x60\x29\0\2\xc0\0\2\2\0\2\xc0"s;

std::string drive_called(const std::string& vendor_model_revision) {
  return k_drive.substr(0, 8) + vendor_model_revision;
}
std::string writer_sense() { return std::string(k_sense).replace(10, 2, "\x37\x13"); }

class Scsi : public testing::Test {
 protected:
  void SetUp() override {
    auto played = std::make_unique<played_scsi>();
    devices = played.get();
    scsi_probe::use_count = 0;
    scsi_probe::instance = std::move(played);
  }
  void TearDown() override { scsi_probe::instance.reset(); }
  /// The report of one probe, and whether it applies.
  template <class Probe>
  static std::string report_of() {
    static probe_group group("group", 16, nullptr, true);
    static Probe subject(group, "probe", 3, 1);
    if (!subject.test()) return "does not apply";
    return ksml_rows_of([](FILE* out) { EXPECT_TRUE(subject.run(out)); });
  }
  played_scsi* devices;
};

TEST_F(Scsi, Table) {
  EXPECT_EQ(report_of<scsi_table>(), "does not apply");
  devices->add({
      .inquiry = k_disk,
      .serial = "\0\x80\0\x0c"s + "DSKA0001    and no more",
      .capacity = "\0\0\0\1\0\0\2\0"s,
      .record = {.host = 1, .channel = 2, .target = 3, .lun = 4}
  });
  devices->add({.inquiry = k_drive, .capacity = "\0\0\3\xff\0\0\x08\0"s});
  devices->add({});
  char capacity[16];  // in the units that this process settled on
  calculate_storage_capacity(1023, 2048, capacity, sizeof capacity, 1000);
  EXPECT_EQ(report_of<scsi_table>(),
            "SCSI Devices\nSCSI-HOST-1-CH-2-ID-3-LUN-4: sg0|EXAMPLE |FAST DISK 36    |1.07|Disk|"
            "1|2|3|4|DSKA0001    |512 bytes|\nSCSI-HOST-0-CH-0-ID-0-LUN-0: sg1|EXAMPLE |"
            "DVD-ROM         |3.0|CD-ROM|0|0|0|0||"s +
                capacity + "|\nSCSI-HOST-0-CH-0-ID-0-LUN-0: sg2||||Disk|0|0|0|0|||\n");
}

// The texts of INQUIRY data count whatever the additional length says; no reply is read behind its
// end.
TEST_F(Scsi, LengthsOfReplies) {
  for (const char length : "\xff\x1f\4\0"s) {
    devices->add({.inquiry = std::string(k_disk).replace(4, 1, 1, length)});
  }
  devices->add({.inquiry = k_disk.substr(0, 17)});
  std::string texts;
  char text[32];
  for (bool more = devices->get_first(); more; more = devices->get_next()) {
    texts += devices->get_vendor(text, sizeof text) + "|"s;
    texts += devices->get_model(text, sizeof text) + "|"s;
    texts += devices->get_revision(text, sizeof text) + "\n"s;
  }
  const std::string whole = "EXAMPLE |FAST DISK 36    |1.07\n";
  EXPECT_EQ(texts, whole + whole + whole + whole + "EXAMPLE |F|\n");

  const auto capabilities = [](const std::string& reply) {
    const byte_span bytes(reinterpret_cast<const unsigned char*>(reply.data()), reply.size());
    return static_cast<int>(parse_optical_capabilities(bytes).value_or(0));
  };
  const std::string short_sense = "\x17\x70\0\0"s + k_sense.substr(8);
  for (size_t size = 0; size < 20; ++size) {
    EXPECT_EQ(capabilities(k_sense.substr(0, size)), size < 12 ? 0 : 0x3B) << size;
    EXPECT_EQ(capabilities(short_sense.substr(0, size)), size < 8 ? 0 : 0x3B) << size;
  }
  EXPECT_EQ(capabilities(std::string(short_sense).replace(0, 1, 1, '\0')), 0);
}

// One that claims more than a reply holds, devices that ignore the page, and one that must not be
// asked.
TEST_F(Scsi, SerialNumbers) {
  std::string longest = "\0\x80\0\xff"s + std::string(300, 'S');
  devices->add({.inquiry = k_disk, .serial = longest});
  devices->add({.inquiry = k_disk, .serial = k_disk});
  devices->add({.inquiry = k_disk, .serial = "\0\x80\0\2\xfa."s});
  devices->add({.inquiry = k_disk, .serial = longest, .record = {.blacklisted = true}});
  devices->commands = 0;
  std::vector<std::string> serials;
  char text[300];
  for (bool more = devices->get_first(); more; more = devices->get_next()) {
    serials.push_back(devices->get_serial(text, sizeof text));
  }
  EXPECT_EQ(serials, (std::vector<std::string>{std::string(251, 'S'), "", "", ""}));
  EXPECT_EQ(devices->commands, 3);
  devices->get_first();
  EXPECT_STREQ(devices->get_serial(text, 4), "SSS");
}

TEST_F(Scsi, TypeNames) {
  for (char type : "\x0a\x0b\x0d\x0e\x7f"s) devices->add({.inquiry = {type}});
  std::string names;
  char text[32];
  for (bool more = devices->get_first(); more; more = devices->get_next()) {
    names += devices->get_type(text, sizeof text) + ","s;
  }
  EXPECT_EQ(names, "unknown-type-10,unknown-type 11,Enclosure,unknown-type-14,unknown-type-127,");
}

TEST_F(Scsi, OpticalTable) {
  devices->add({.inquiry = k_disk, .sense = k_sense});
  EXPECT_EQ(report_of<optical_table>(), "does not apply");
  devices->add({.inquiry = k_drive, .sense = k_sense});
  // The same page behind a header of four bytes, from a drive that writes.
  devices->add({.inquiry = drive_called("EXAMPLE WRITER          1.00"),
                .sense = "\x17\x70\0\0"s + writer_sense().substr(8)});
  devices->add({.inquiry = k_drive, .sense = std::string(24, '\1')});
  devices->add({.inquiry = drive_called(" oem    cd-rom F522e    1.00"), .sense = k_sense});
  devices->add({.inquiry = k_drive});
  devices->commands = 0;
  const std::string row = "SCSI-HOST-0-CH-0-ID-0-LUN-0: ";
  EXPECT_EQ(report_of<optical_table>(),
            "Optical Drive Capabilities\n" + row +
                "EXAMPLE |DVD-ROM         |Read|Read|Read|Read|Read|\n" + row +
                "EXAMPLE |WRITER          |Write|Write||Write|Read|\n");
  EXPECT_EQ(devices->commands, 4);
}

TEST_F(Scsi, OpticalKeywords) {
  devices->add({.inquiry = k_drive});
  const std::string title = "Optical Drive Capabilities\n: ";
  EXPECT_EQ(report_of<optical_table_uc2>(), title + "\n");
  devices->add({.inquiry = k_drive, .sense = k_sense});
  devices->add({.inquiry = k_drive, .sense = writer_sense()});
  EXPECT_EQ(
      report_of<optical_table_uc2>(),
      title + "CDRread|CDRwrite|CDRWread|CDRWwrite|DVDROMread|DVDRread|DVDRwrite|DVDRAMread|\n");
}

TEST_F(Scsi, SharedEnumeratorGoesWithItsFifthUse) {
  for (int use = 1; use <= 4; ++use) scsi_use();
  EXPECT_EQ(scsi_probe::instance.get(), devices);
  scsi_use();
  EXPECT_EQ(scsi_probe::instance, nullptr);
}

// --- the version 2 interface ----------------------------------------------------------------

/// A node at which the driver has already laid down its response.
class played_driver {
 public:
  explicit played_driver(const std::string& response) {
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends_), 0);
    EXPECT_EQ(write(ends_[1], response.data(), response.size()),
              static_cast<ssize_t>(response.size()));
  }
  played_driver(const played_driver&) = delete;
  played_driver& operator=(const played_driver&) = delete;
  ~played_driver() {
    for (int end : ends_) close(end);
  }
  int node() const { return ends_[0]; }
  std::string request() const {
    char bytes[512];
    ssize_t length = recv(ends_[1], bytes, sizeof bytes, MSG_DONTWAIT);
    return {bytes, static_cast<size_t>(std::max<ssize_t>(length, 0))};
  }

 private:
  int ends_[2];
};

std::string response_header(uint32_t status_bits, char sense_key) {
  std::string header(36, '\0');
  for (size_t i = 0; i < 4; ++i) header[16 + i] = static_cast<char>(status_bits >> 8 * i);
  header[22] = sense_key;
  return header;
}

TEST(ScsiLinux, CommandIsFramed) {
  constexpr unsigned char k_cdb[] = {0x25, 1, 2, 3, 4, 5, 6, 7, 8, 9};
  played_driver driver(response_header(0, 0) + "12345678");
  unsigned char reply[8] = {};
  size_t returned = 0;
  EXPECT_EQ(sg_send_command(driver.node(), k_cdb, reply, returned), 0);
  EXPECT_EQ(std::string(reply, reply + returned), "12345678");
  EXPECT_EQ(driver.request(),
            "\0\0\0\0\x2c"s + std::string(31, '\0') + "\x25\1\2\3\4\5\6\7\x08\x09");

  played_driver cut(response_header(0, 0) + "1234567");
  EXPECT_EQ(sg_send_command(cut.node(), k_cdb, reply, returned), -1);
  EXPECT_EQ(returned, 0u);
  EXPECT_EQ(sg_send_command(-1, k_cdb, reply, returned), -1);
}

TEST(ScsiLinux, RecoveredErrorsAreNone) {
  auto succeeds = [](uint32_t target, uint32_t host, uint32_t driver, char sense_key) {
    std::string header = response_header(target << 1 | host << 6 | driver << 14, sense_key);
    return check_status(
        parse_sg_header({reinterpret_cast<const unsigned char*>(header.data()), header.size()}));
  };
  EXPECT_TRUE(succeeds(0, 0, 0, 5));
  EXPECT_TRUE(succeeds(0x01, 0, 8, 1));  // check condition
  EXPECT_TRUE(succeeds(0x11, 0, 0, 1));  // command terminated
  EXPECT_TRUE(succeeds(0, 0, 8, 1));
  EXPECT_FALSE(succeeds(0x01, 0, 8, 5));  // illegal request
  EXPECT_FALSE(succeeds(0x01, 0, 8, 0x21));
  EXPECT_FALSE(succeeds(0x02, 0, 0, 1));
  EXPECT_FALSE(succeeds(0, 0, 6, 1));
  EXPECT_FALSE(succeeds(0, 1, 0, 1));
}

// --- devices that hang ----------------------------------------------------------------------

constexpr int k_identify = 0x12, k_serial = 0x112, k_capacity = 0x25;

/// Three disks sg0 to sg2, with class nodes in another order; one of them hangs at one question.
class played_nodes : public sg_nodes {
 public:
  struct trouble {
    std::string path;
    sg_request::call what;
    int operation;  ///< of a command
    trouble(const char* node, sg_request::call asked, int code)
        : path(node), what(asked), operation(code) {}
  };
  explicit played_nodes(std::vector<trouble> hangs) : hangs_(std::move(hangs)) {}
  std::set<std::string> paths() override {
    return {"/dev/null", "/dev/sda", "/dev/sdb", "/dev/sdc", "/dev/sg0", "/dev/sg1", "/dev/sg2"};
  }
  std::string device_of(const std::string& path) override { return "disk"s + number_of(path); }
  sg_answer answer(const sg_request& request) override {
    const std::string path = request.path.data();
    for (const trouble& hang : hangs_) {
      if (path == hang.path && request.what == hang.what && operation_of(request) == hang.operation)
        pause();
    }
    sg_answer answer;
    answer.is_done = true;
    answer.address.device_id = static_cast<uint32_t>(number_of(path) - '0');
    answer.address.bus = 1;
    const std::string reply = operation_of(request) == k_capacity ? "\0\0\0\1\0\0\2\0"s
                              : operation_of(request) == k_serial ? "\0\x80\0\2S"s + number_of(path)
                                                                  : k_disk;
    std::copy_n(reply.begin(), std::min<size_t>(reply.size(), request.reply_size),
                answer.reply.begin());
    return answer;
  }

 private:
  static char number_of(const std::string& path) {
    return path[5 + 1] == 'g' ? path.back() : static_cast<char>('2' - (path.back() - 'a'));
  }
  static int operation_of(const sg_request& request) {
    return request.cdb[0] | request.cdb[1] << 8;
  }
  std::vector<trouble> hangs_;
};

class HangingScsi : public Scsi {
 protected:
  using call = sg_request::call;
  using trouble = played_nodes::trouble;
  void scan(std::vector<trouble> hangs) {
    take_notices();
    auto probe =
        std::make_unique<scsi_linux_probe>(std::make_unique<played_nodes>(std::move(hangs)), 1000);
    probe->open();
    scsi_probe::use_count = 0;
    scsi_probe::instance = std::move(probe);
  }
  static std::string row(int number, const std::string& cells) {
    return "SCSI-HOST-1-CH-0-ID-" + std::to_string(number) + "-LUN-0: " + cells + "\n";
  }
  static std::string healthy(int number) {
    return row(number, named(number, "sd"s + static_cast<char>('c' - number)) + "S" +
                           std::to_string(number) + "|512 bytes|");
  }
  static std::string named(int number, const std::string& name) {
    return name + "|EXAMPLE |FAST DISK 36    |1.07|Disk|1|0|" + std::to_string(number) + "|0|";
  }
};

TEST_F(HangingScsi, CostsItsOwnCellsOnly) {
  const std::string unknown = "SCSI-HOST-0-CH-0-ID-0-LUN-0: sg0||||Disk|0|0|0|0|||\n";
  const std::string silent = row(1, "sg1||||Disk|1|0|1|0|||");
  const std::string unmapped = row(1, named(1, "sg1") + "||");
  const std::string numberless = row(2, named(2, "sda") + "||");
  const std::string sizeless = row(2, named(2, "sda") + "S2||");
  const struct {
    const char* path;
    call what;
    int operation, number;
    const std::string& row;
  } cases[] = {
      {"/dev/sg0", call::find,    0,          0, unknown   },
      {"/dev/sg0", call::open,    0,          0, unknown   },
      {"/dev/sg1", call::command, k_identify, 1, silent    },
      {"/dev/sdb", call::locate,  0,          1, unmapped  },
      {"/dev/sg2", call::command, k_serial,   2, numberless},
      {"/dev/sg2", call::command, k_capacity, 2, sizeless  },
  };
  for (const auto& one : cases) {
    scan({trouble(one.path, one.what, one.operation)});
    std::string rows = "SCSI Devices\n";
    for (int i = 0; i < 3; ++i) rows += i == one.number ? one.row : healthy(i);
    EXPECT_EQ(report_of<scsi_table>(), rows);
    EXPECT_EQ(report_of<optical_table>(), "does not apply");
    EXPECT_EQ(take_notices(),
              std::vector<std::string>{"SCSI PROBE: "s + one.path + " does not answer"});
  }
}

TEST_F(HangingScsi, SeveralAndARunThatEnds) {
  const trouble first("/dev/sg0", call::open, 0), middle("/dev/sg1", call::command, k_identify),
      last("/dev/sda", call::locate, 0);
  scan({first, middle, last});
  EXPECT_EQ(take_notices().size(), 3u);
  EXPECT_EQ(scsi_probe::instance->get_device_count(), 3);
  request_stop(SIGTERM);
  scan({first});
  request_stop(0);
  EXPECT_EQ(scsi_probe::instance->get_device_count(), 0);
  EXPECT_TRUE(take_notices().empty());
}

}  // namespace
}  // namespace kestrel
