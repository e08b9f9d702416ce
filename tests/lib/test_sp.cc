// The service processor: its protocol with a played device behind the ports, and its driver library
// with a played one.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <memory>
#include <string>

#include "lib/sp.h"
#include "tests/doors/fake_sp_port.h"
#include "tests/lib/report_capture.h"

namespace kestrel {
namespace {

using namespace std::string_literals;

std::unique_ptr<SP_IO_COMMAND> command(unsigned char code, const std::string& first,
                                       const std::string& second = "") {
  auto made = std::make_unique<SP_IO_COMMAND>();
  made->command = code;
  made->first_length = static_cast<uint8_t>(first.size());
  made->second_length = static_cast<uint16_t>(second.size());
  std::string data = first + second;
  std::copy(data.begin(), data.end(), made->data);
  return made;
}

std::string data_of(const SP_IO_COMMAND& reply) {
  return {reply.data, reply.data + reply.first_length + reply.second_length};
}

/// A reply as it comes through the port, with these lengths in it.
std::string reply(const std::string& data, unsigned first, unsigned second, char status = 0) {
  size_t length = data.size() + 6;
  auto low = [](size_t number) { return static_cast<char>(number); };
  std::string plain = "\x16\2\0\3"s + low(length >> 8) + low(length) + '\x10' + low(first) +
                      low(second) + low(second >> 8) + status + '\0' + data;
  if (length % 2 != 0) plain += '\0';
  plain += "\x34\x12";
  std::string sent;
  for (char byte : plain) {
    sent += byte == '\xC0' ? "\xDB\xDC"s : byte == '\xDB' ? "\xDB\xDE"s : std::string(1, byte);
  }
  return sent + '\xC0';
}

/// The result of a command to a device that answers with these bytes.
int send(SP_IO_COMMAND& sent, const std::string& answer) {
  fake_sp() = {};
  fake_sp().answer = answer;
  return send_sp_command(&sent);
}

TEST(SpPort, PacketHasTheLaidDownBytes) {
  auto bytes = [](const SP_IO_COMMAND& of) {
    auto packet = make_sp_packet(of);
    return std::string(packet.begin(), packet.end());
  };
  EXPECT_EQ(bytes(*command(0x10, "A")), "\x16\2\0\3\0\7\x10\1\0\0\0\0A\0\xae\xf4"s);
  EXPECT_EQ(bytes(*command(0x20, "", "\xff\xff"s)),
            "\x16\2\0\3\0\x08\x20\0\2\0\0\0\xff\xff\xdd\xf4"s);
  auto large = command(0, "");
  large->first_length = 255;
  large->second_length = static_cast<uint16_t>(k_sp_max_data - 255);
  EXPECT_EQ(make_sp_packet(*large).size(), 12 + k_sp_max_data + 1 + 2);
  ++large->second_length;
  EXPECT_EQ(send(*large, ""), 1);
  EXPECT_EQ(fake_sp().sent, "");
  // Carries are folded back in, and an odd last byte is a word.
  constexpr unsigned char k_words[] = {0xFF, 0xFF, 0x02, 0x80, 0x03};
  EXPECT_EQ(checksum(k_words), 0x7FFA);
}

TEST(SpPort, CommandAndReply) {
  auto sent = command(0x10, "\xC0", "\xDB\1"s);
  fake_sp() = {};
  fake_sp().waiting = "left over";
  fake_sp().delay = 5;
  fake_sp().answer = "\xC0\x16\x16\2\0\x16"s + reply("\xC0\xDB-data"s, 2, 5, 3);
  ASSERT_EQ(send_sp_command(sent.get()), 0);
  EXPECT_EQ(fake_sp().sent.substr(0, 16), "\x16\2\0\3\0\x09\x10\1\2\0\0\0\xDB\xDC\xDB\xDE"s);
  EXPECT_EQ(fake_sp().sent.back(), '\xC0');
  EXPECT_EQ(fake_sp().waiting, "");
  EXPECT_EQ(sent->status, 3);
  EXPECT_EQ(sent->first_length, 2);
  EXPECT_EQ(data_of(*sent), "\xC0\xDB-data"s);
}

TEST(SpPort, RepliesThatLie) {
  auto sent = command(0x10, "");
  ASSERT_EQ(send(*sent, reply("four", 200, 40000)), 0);
  EXPECT_EQ(data_of(*sent), "four");
  ASSERT_EQ(send(*sent, reply(std::string(k_sp_max_data, '.'), 0, 1)), 0);
  EXPECT_EQ(data_of(*sent), ".");
  EXPECT_EQ(send(*sent, "\x16\2\0\3\0\5\x10\0\0\0\0\0\0\0\0\0\xC0"s), 1);
  EXPECT_EQ(send(*sent, "\x16\2\0\3\0\6\xDB\xDD\0\0\0\0\0\0\0\0\xC0"s), 1);
  EXPECT_EQ(sent->status, 6);
  // Without the end byte a reply is not whole, whatever came before it.
  std::string whole = reply("data", 4, 0);
  for (size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(send(*sent, whole.substr(0, length)), 1) << length;
    EXPECT_EQ(fake_sp().timeouts, 1) << length;
  }
}

TEST(SpPort, WaitingEnds) {
  struct sigaction before = {}, after = {};
  sigaction(SIGVTALRM, nullptr, &before);
  fake_sp() = {};
  fake_sp().is_stuck = true;
  EXPECT_EQ(get_sp_byte(), k_sp_failure);
  EXPECT_EQ(send_sp_byte(0xC0), k_sp_failure);
  EXPECT_EQ(fake_sp().timeouts, 2);
  EXPECT_EQ(fake_sp().sent, "");
  fake_sp() = {};
  fake_sp().never_silent = true;
  EXPECT_EQ(send_sp_command(command(1, "").get()), 1);  // cannot be drained
  EXPECT_EQ(fake_sp().sent, "");
  EXPECT_EQ(send(*command(1, ""), std::string(0x20000, '\x16')), 1);
  EXPECT_EQ(fake_sp().timeouts, 0);
  sigaction(SIGVTALRM, nullptr, &after);
  EXPECT_EQ(before.sa_handler, after.sa_handler);
}

TEST(SpPort, OpensWhenTheProcessorShowsItself) {
  auto opens = [](const played_sp& sp) {
    fake_sp() = sp;
    ServiceProcessor processor;
    bool open = processor.OpenComm(0);
    EXPECT_EQ(fake_sp().opened, open ? 1 : 0);
    auto sent = command(1, "");
    EXPECT_EQ(processor.SendCommand(nullptr), 2);
    fake_sp().answer = reply("", 0, 0);
    EXPECT_EQ(processor.SendCommand(sent.get()), open ? 0 : 1);
    processor.CloseComm();
    EXPECT_EQ(fake_sp().opened, 0);
    EXPECT_EQ(processor.SendCommand(sent.get()), 1);
    return open;
  };
  EXPECT_TRUE(opens({}));
  EXPECT_TRUE(opens({.waiting = "1"}));  // the first read takes it
  EXPECT_FALSE(opens({.waiting = "12"}));
  EXPECT_FALSE(opens({.grants_access = false}));
  EXPECT_FALSE(opens({.status_bits = 0xFF}));
  EXPECT_FALSE(opens({.status_bits = 0x60}));
  EXPECT_FALSE(opens({.answer = ""}));
  EXPECT_FALSE(opens({.answer = "\xFE"}));
  EXPECT_FALSE(opens({.answer = "\xFD\xFD"}));
}

/// Loads a played driver library; the service processor's own search then finds it by its name.
class driver_library {
 public:
  explicit driver_library(const char* path) : handle_(dlopen(path, RTLD_NOW)) {
    EXPECT_NE(handle_, nullptr) << dlerror();
  }
  driver_library(const driver_library&) = delete;
  driver_library& operator=(const driver_library&) = delete;
  ~driver_library() { dlclose(handle_); }
  const char* calls() const { return static_cast<const char*>(dlsym(handle_, "sp_driver_calls")); }

 private:
  void* handle_;
};

TEST(SpDriver, CommandsGoToTheLibrary) {
  fake_sp() = {};
  driver_library library(KESTREL_SP_DRIVER);
  {
    ServiceProcessor processor;
    EXPECT_FALSE(processor.OpenComm(4));
    EXPECT_EQ(processor.SendCommand(command(1, "abc").get()), 1);
    EXPECT_TRUE(processor.OpenComm(3));
    auto sent = command(1, "abc");
    EXPECT_EQ(processor.SendCommand(sent.get()), 0);
    EXPECT_EQ(data_of(*sent), "cba");
    EXPECT_EQ(processor.SendCommand(command(0xFF, "").get()), 7);
  }
  EXPECT_STREQ(library.calls(), "bad open data data close ");
  EXPECT_EQ(fake_sp().sent, "");
}

TEST(SpDriver, IncompleteLibraryLeavesThePorts) {
  fake_sp() = {};
  driver_library library(KESTREL_SP_DRIVER_INCOMPLETE);
  ServiceProcessor processor;
  EXPECT_TRUE(processor.OpenComm(3));
  EXPECT_STREQ(library.calls(), "");
  EXPECT_EQ(fake_sp().sent, "\xC0");
}

TEST(ServiceProcessorTest, Questions) {
  fake_sp() = {};
  ServiceProcessor processor;
  ASSERT_TRUE(processor.OpenComm(0));
  int value = -1;
  char text[5] = "";
  gathered_datetime time;
  time.reference_year = 2005;
  fake_sp().answer = reply("\x81more", 5, 0);
  EXPECT_TRUE(processor.get_1_byte("\x21part", &value));
  EXPECT_EQ(value, 0x81);
  EXPECT_NE(fake_sp().sent.find("\x21\4\0\0\0\0part"s), std::string::npos);
  EXPECT_TRUE(processor.get_string("\x22", text, sizeof text));
  EXPECT_STREQ(text, "\x81mor");
  EXPECT_FALSE(processor.get_time("\x23", &time));
  fake_sp().answer = reply("\5\x0b\x1d\0\x17\x3b\x01\0"s, 0, 8);
  EXPECT_TRUE(processor.get_time("\x23", &time));
  EXPECT_STREQ(time.format(), "2005-11-29 23:59:01");
  report_capture list;
  fake_sp().answer = reply("\x21\xA2"s, 2, 0);
  EXPECT_TRUE(processor.list_supported_commands(list.stream()));
  EXPECT_EQ(list.text(), "21\na2\n");
  fake_sp().answer = reply("\x81", 1, 0, 4);  // refused
  EXPECT_FALSE(processor.get_1_byte("\x21", &value));
  fake_sp().answer = reply("", 0, 0);
  EXPECT_FALSE(processor.get_1_byte("\x21", &value));
  EXPECT_EQ(value, 0x81);
}

}  // namespace
}  // namespace kestrel
