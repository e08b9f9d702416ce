// LzH: pinned streams, an independent reader (lhasa), round trips, and streams that lie.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "lib/file.h"
#include "lib/lzh.h"
#include "tests/lib/scratch.h"

namespace kestrel {
namespace {

file_ptr stream_of(std::string_view bytes) {
  file_ptr file(std::tmpfile());
  EXPECT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), file.get()), bytes.size());
  std::rewind(file.get());
  return file;
}

std::string contents(FILE* file) {
  std::string bytes;
  std::rewind(file);
  for (int c = std::getc(file); c != EOF; c = std::getc(file)) bytes += static_cast<char>(c);
  return bytes;
}

std::span<const unsigned char> bytes_of(std::string_view text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

std::string encode(LzH& coder, std::string_view text) {
  const file_ptr in = stream_of(text), out(std::tmpfile());
  LzwComp sizes = {};
  EXPECT_EQ(coder.Encode(in.get(), out.get(), &sizes), 0);
  std::string stream = contents(out.get());
  EXPECT_EQ(sizes.uncompressed_size, text.size());
  EXPECT_EQ(sizes.compressed_size, stream.size());
  return stream;
}

std::string encode_in_memory(LzH& coder, std::string_view text) {
  std::vector<unsigned char> room(LzH::most_compressed(text.size()));
  LzwComp sizes = {};
  EXPECT_EQ(coder.Encode(bytes_of(text), room, &sizes), 0);
  EXPECT_EQ(sizes.uncompressed_size, text.size());
  return std::string(room.begin(), room.begin() + sizes.compressed_size);
}

std::string decode(LzH& coder, std::string_view stream, size_t size) {
  const file_ptr in = stream_of(stream), out(std::tmpfile());
  const LzwComp sizes = {static_cast<uint32_t>(size), static_cast<uint32_t>(stream.size())};
  EXPECT_EQ(coder.Decode(in.get(), out.get(), &sizes), 0);
  return contents(out.get());
}

class numbers {
 public:
  uint32_t below(uint32_t limit) {
    state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<uint32_t>((state_ >> 33) % limit);
  }

 private:
  uint64_t state_ = 1;
};

enum kind { noise, two_letters, spaces, skewed, periods, copies, k_kinds };

std::string sample(int kind, size_t size) {
  numbers random;
  std::string text;
  const size_t first = random.below(100);
  while (text.size() < size) {
    const size_t i = text.size(), step = 1 + (first + i / 140) % 100;
    char c = static_cast<char>(random.below(256));
    if (kind == two_letters) c = random.below(2) != 0 ? 'a' : 'b';
    if (kind == spaces) c = random.below(30) != 0 ? ' ' : 'x';
    if (kind == skewed) c = static_cast<char>(random.below(1 + random.below(1 + random.below(80))));
    if (kind == periods && i % 140 >= step) c = text[i - step];
    if (kind == copies && i > 0 && random.below(40) != 0) c = text[i * 7 / 8];
    text += c;
  }
  return text;
}

/// Match lengths in shares that grow by the golden ratio: they make the tree as deep as it gets,
/// and the bytes not seen before come last, with codes of 17 and 18 bits.
std::string deep_tree_sample() {
  constexpr unsigned k_letters = 61, k_lengths = 9, k_longest = 60;
  numbers random;
  std::vector<size_t> lengths;
  for (unsigned i = 0, share = 300, sum = 314 + k_letters; i < k_lengths; ++i) {
    lengths.insert(lengths.end(), share, i + 1 < k_lengths ? k_lengths + 1 - i : k_longest);
    const unsigned next = sum + sum / 50;
    sum += share;
    share = next;
  }
  for (size_t i = 0; i + 1 < lengths.size(); ++i) {
    std::swap(lengths[i], lengths[i + random.below(static_cast<uint32_t>(lengths.size() - i))]);
  }
  // Pieces of one alphabet; no piece follows another as it did within the last window.
  std::vector<size_t> last_seen(k_letters * k_letters, 0);
  std::string text;
  size_t end = 0, start = 0;
  for (const size_t length : lengths) {
    size_t tries = 0, since = 0;
    do {
      start = length == k_longest ? random.below(5) * 12 : random.below(k_letters);
      since = text.size() - last_seen[end * k_letters + start];
    } while (++tries < 500 && (start == end || since < 4300));
    last_seen[end * k_letters + start] = text.size();
    for (size_t i = 0; i < length; ++i) text += static_cast<char>((start + i) % k_letters);
    end = (start + length) % k_letters;
  }
  for (unsigned c = k_letters; c < 256; ++c) text += static_cast<char>(c);
  return text;
}

unsigned crc16(std::string_view bytes) {
  unsigned crc = 0;
  for (const unsigned char byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xA001U : 0U);
  }
  return crc;
}

/// What lhasa makes of the stream when it is wrapped as the only member of an archive.
std::string lhasa_decodes(std::string_view stream, std::string_view text) {
  const unsigned crc = crc16(text);
  std::string header = "-lh1-";
  for (const size_t size : {stream.size(), text.size()}) {
    for (unsigned i = 0; i < 32; i += 8) header += static_cast<char>(size >> i);
  }
  header += std::string("\x21\x62\x8d\x34\x20\x00\x01m", 8);
  header += {static_cast<char>(crc & 0xFF), static_cast<char>(crc >> 8)};
  unsigned sum = 0;
  for (const unsigned char byte : header) sum += byte;

  const scratch_folder folder;
  std::string bytes = {static_cast<char>(header.size()), static_cast<char>(sum)};
  put_file(folder / "a.lzh", bytes.append(header).append(stream) + '\0');
  const std::string command = "lhasa -xfq2w=" + folder.path() + " " + (folder / "a.lzh");
  EXPECT_EQ(std::system(command.c_str()), 0) << "is the package lhasa installed?";
  return content_of(folder / "m");
}

std::string hex(std::string_view bytes) {
  std::string text;
  for (const unsigned char byte : bytes) {
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 15];
  }
  return text;
}

TEST(Lzh, StreamsArePinned) {
  // "A" is the code 111001101; 60 spaces are one match, 11000101 with position 000 111011. Where
  // the stream is as long as the text, it is the text.
  const std::pair<std::string, std::string> pins[] = {
      {"A",                 "e680"},
      {std::string(60,      ' '),   "c51d80"},
      {"   x",                   "20202078"                   },
      {"\xFF",                   "ff"},
      {"hello",                   "fa7c7f187fb0"                  },
      {"abcabcabcabcabc",                   "f6fbbdf2a020"},
      {std::string(130,                   'z'),                     "0606006200248000"},
      {"abracadabra abracadabra", "f6fbbfd8befc1f08d034a82c"},
  };
  LzH coder;
  for (const auto& [text, expected] : pins) {
    const std::string stream = encode(coder, text);
    EXPECT_EQ(hex(stream), expected) << text;
    EXPECT_EQ(decode(coder, stream, text.size()), text);
  }
}

TEST(Lzh, EveryLengthComesBack) {
  LzH used;
  for (int kind = 0; kind < k_kinds; ++kind) {
    encode_in_memory(used, sample(two_letters, 200));  // What it leaves behind must not matter.
    for (size_t size = 1; size <= 4110; size = size == 300 ? 4030 : size + 1) {
      const std::string text = sample(kind, size), stream = encode_in_memory(used, text);
      ASSERT_EQ(encode_in_memory(*std::make_unique<LzH>(), text), stream) << kind << ' ' << size;
      std::vector<unsigned char> memory(size);
      ASSERT_EQ(used.Decode(bytes_of(stream), memory), 0) << kind << ' ' << size;
      ASSERT_EQ(std::string(memory.begin(), memory.end()), text) << kind << ' ' << size;
      ASSERT_EQ(used.input_used(), stream.size()) << kind << ' ' << size;
      if (size % 8 != static_cast<size_t>(kind)) continue;
      ASSERT_EQ(encode(used, text), stream) << kind << ' ' << size;
      ASSERT_EQ(decode(used, stream, size), text) << kind << ' ' << size;
    }
  }
}

TEST(Lzh, LongStreamsArePinnedAndReadByAnotherProgram) {
  const std::pair<size_t, unsigned> pins[k_kinds + 1] = {
  // size and CRC
      {100170, 0x5426},
      {15986,  0x6887},
      {4454,   0xD5CE},
      {66461,  0xAC26},
      {40060,  0x55D2},
      {44856,  0x794F},
      {55412,  0x97F1},
  };
  LzH coder;
  for (int kind = 0; kind <= k_kinds; ++kind) {
    const std::string text = kind < k_kinds ? sample(kind, 100000) : deep_tree_sample();
    const std::string stream = encode(coder, text);
    EXPECT_EQ(stream.size(), pins[kind].first) << kind;
    EXPECT_EQ(crc16(stream), pins[kind].second) << kind;
    EXPECT_EQ(decode(coder, stream, text.size()), text) << kind;
    EXPECT_EQ(lhasa_decodes(stream, text), text) << kind;
  }
}

TEST(Lzh, CutStreamsAreFilledWithZeroBitsAndSeen) {
  LzH coder;
  const std::string text = sample(copies, 3000), stream = encode(coder, text);
  for (size_t size = 0; size < stream.size(); ++size) {
    const std::string piece = stream.substr(0, size);
    const std::string result = decode(coder, piece, text.size());
    EXPECT_EQ(result.size(), text.size());
    EXPECT_TRUE(coder.was_cut());
    std::vector<unsigned char> memory(text.size());
    EXPECT_EQ(coder.Decode(bytes_of(piece), memory), lzh_read_failed);
    EXPECT_TRUE(coder.was_cut());
  }
  decode(coder, stream, text.size());
  EXPECT_FALSE(coder.was_cut());
}

TEST(Lzh, NoSizeMakesItReadOrWriteTooMuch) {
  LzH coder;
  const std::string stream = sample(noise, 5000);
  for (const uint32_t size : {0U, 1U, 59U, 4096U, 4999U, 5001U, 100000U}) {
    for (const uint32_t compressed : {0U, 1U, 2U, 100U, 5000U, 0xFFFFFFFFU}) {
      if (size == compressed && size != 0) continue;
      const file_ptr in = stream_of(stream), out(std::tmpfile());
      const LzwComp sizes = {size, compressed};
      EXPECT_EQ(coder.Decode(in.get(), out.get(), &sizes), 0);
      EXPECT_EQ(contents(out.get()).size(), size);
      EXPECT_LE(ftello(in.get()), std::min<off_t>(compressed, 5000));
    }
  }
  const LzwComp stored = {5001, 5001};
  const file_ptr in = stream_of(stream), out(std::tmpfile());
  EXPECT_EQ(coder.Decode(in.get(), out.get(), &stored), lzh_read_failed);
  EXPECT_TRUE(coder.was_cut());
}

TEST(Lzh, FailuresHaveTheirCodes) {
  LzH coder;
  LzwComp sizes = {};
  const file_ptr in = stream_of(sample(noise, 100)), out(std::tmpfile()), none = stream_of("");
  EXPECT_EQ(coder.Encode(nullptr, out.get(), &sizes), -1);
  EXPECT_EQ(coder.Encode(in.get(), out.get(), nullptr), -1);
  EXPECT_EQ(coder.Decode(in.get(), nullptr, &sizes), -1);
  EXPECT_EQ(coder.Encode(none.get(), out.get(), &sizes), -4);
  EXPECT_EQ(ftello(out.get()), 0);
  unsigned char room[] = {0, 0, 0, 0, 0};
  EXPECT_EQ(coder.Encode(bytes_of("hello"), room, &sizes), -3);
  const file_ptr full(std::fopen("/dev/full", "wb"));
  EXPECT_EQ(coder.Encode(in.get(), full.get(), &sizes), -3);
  for (const LzwComp lie : {
           LzwComp{100,  100},
           LzwComp{9000, 100}
  }) {
    std::rewind(in.get());
    EXPECT_EQ(coder.Decode(in.get(), full.get(), &lie), -3);
  }
}

}  // namespace
}  // namespace kestrel
