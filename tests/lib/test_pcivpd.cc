// VPD of played cards: honest ones, slow ones, silent ones and liars.
#include <gtest/gtest.h>

#include "lib/debug.h"
#include "lib/interface.h"
#include "tests/doors/fake_pci.h"
#include "tests/lib/report_capture.h"

namespace kestrel {
namespace {

using namespace std::string_literals;

std::string resource(char tag, const std::string& data) {
  return {tag + ""s + static_cast<char>(data.size()) + static_cast<char>(data.size() >> 8) + data};
}

std::string record(const char* keyword, const std::string& value) {
  return keyword + std::string(1, static_cast<char>(value.size())) + value;
}

const std::string k_identifier = resource('\x82', "Fast card");
const std::string k_card =
    k_identifier +
    resource('\x90', record("PN", "old") + record("pn", "older") + record("PX", "12A3456") +
                         record("EC", "A\x01\x7f\xff") + record("MN", "") + record("SN", "S 1") +
                         record("VA", "upper") + record("Va", "lower") + record("V7", "seven") +
                         record("V-", "dropped") + record("YA", "dropped") + record("RV", "sum")) +
    resource('\x91', record("CP", "c") + record("VZ", "z")) + "\x78";

struct decoded {
  played_function card;
  pci_vpd_xxx vpd;
};

decoded decode(const std::string& vpd, int polls_needed = 1, int reads_left = INT_MAX) {
  fake_pci() = {};
  decoded result;
  result.card.add_vpd(0x48, {vpd.begin(), vpd.end()});
  result.card.polls_needed = polls_needed;
  result.card.reads_left = reads_left;
  pcivpd_analyse_vpd(result.card, 0x48, result.vpd);
  EXPECT_FALSE(result.card.harmed);
  return result;
}

// All texts that are there, each with its entry's number.
std::string texts_of(const decoded& got) {
  std::string texts;
  for (size_t i = 0; i < got.vpd.texts.size(); ++i) {
    if (got.vpd.texts[i]) texts += std::to_string(i) + "=" + *got.vpd.texts[i] + ";";
  }
  return texts;
}

constexpr char k_card_texts[] =
    "0=Fast card;1=12A3456;2=A...;3=;4=S 1;12=seven;15=lower;40=z;41=c;42=sum;";

TEST(PciVpd, EveryRecordIsFiled) {
  decoded got = decode(k_card);
  EXPECT_EQ(texts_of(got), k_card_texts);
  // Each byte has a cycle of its own, but for the lengths of the three large resources.
  EXPECT_EQ(got.card.addresses.size(), k_card.size() - 6);
  EXPECT_EQ(texts_of(decode({0x13, 'a', 'b', 'c', 0x10, 0x78})), "0=;");  // small resources
}

TEST(PciVpd, PatienceIsLimited) {
  EXPECT_EQ(texts_of(decode(k_card, 3)), k_card_texts);
  const std::string log = written_by([](FILE* out) {
    enable_log_to_stream(out);
    decoded silent = decode(k_card, INT_MAX);
    EXPECT_EQ(silent.card.addresses.size(), 1u);
    EXPECT_EQ(silent.card.polls, 1000);
    EXPECT_EQ(fake_pci().milliseconds, 999);
    // Every byte is in time, all of them together are not: what is whole by then counts.
    decoded slow =
        decode(k_identifier + resource('\x90', record("PN", "1") + std::string(0x4000, ' ')), 101);
    EXPECT_EQ(texts_of(slow), "0=Fast card;1=1;");
    EXPECT_EQ(fake_pci().milliseconds, 2000);
    disable_log_to_stream();
  });
  EXPECT_NE(log.find("no answer at address 0000\n"), std::string::npos);
  EXPECT_NE(log.find("the card's 2000 ms are over at address 0018\n"), std::string::npos);
  pci_vpd_xxx vpd;
  decoded silent = decode(k_identifier, INT_MAX), late = decode(k_card, 3);
  EXPECT_FALSE(pcivpd_analyse_vpd(silent.card, 0x48, vpd));
  EXPECT_TRUE(pcivpd_analyse_vpd(late.card, 0x48, vpd));
}

TEST(PciVpd, LengthsThatLie) {
  // The last byte that can be addressed is read, and nothing behind it: bit 15 of an address would
  // program the card.
  decoded past =
      decode(k_identifier + resource('\x91', "") + "\x90\xFF\xFF" + record("PN", "kept"));
  EXPECT_EQ(texts_of(past), "0=Fast card;1=kept;");
  EXPECT_EQ(past.card.addresses.back(), 0x7FFFu);
  EXPECT_EQ(texts_of(decode("\x82\xFE\x7F" + std::string(0x7FFE, 'x'))), "");
  decoded full = decode("\x82\xFD\x7F" + std::string(0x7FFD, 'x'));
  EXPECT_EQ(texts_of(full), "0=" + std::string(0x7FFD, 'x') + ";");
  EXPECT_EQ(full.card.addresses.back(), 0x7FFFu);
  for (const char* cut : {"SN\4abc", "SN", "S"}) {
    EXPECT_EQ(texts_of(decode(resource('\x90', record("PN", "kept") + cut) +
                              resource('\x90', record("EC", "not reached")))),
              "1=kept;");
  }
}

// Wherever it happens, what was decoded before stays: record by record.
TEST(PciVpd, AReadThatFailsEndsTheDecode) {
  std::vector<std::string> seen;
  for (int reads = 0; reads < 500; ++reads) {
    std::string texts = texts_of(decode(k_card, 1, reads));
    if (seen.empty() || texts != seen.back()) seen.push_back(texts);
  }
  const std::string name = "0=Fast card;", number = name + "1=12A3456;",
                    serial = number + "2=A...;3=;4=S 1;", checked = serial + "12=seven;15=lower;";
  EXPECT_EQ(seen, (std::vector<std::string>{
                      "", name, name + "1=old;", name + "1=older;", number, number + "2=A...;",
                      number + "2=A...;3=;", serial, serial + "15=upper;", serial + "15=lower;",
                      checked, checked + "42=sum;", checked + "41=c;42=sum;", k_card_texts}));
}

// `list` holds an offset, an id and the next offset a capability; the first one is where it begins.
uint8_t find(const std::vector<unsigned>& list, unsigned status = 0x10) {
  played_function function;
  function.set16(0x06, status);
  function.set8(0x34, list[0]);
  for (size_t i = 0; i < list.size(); i += 3) {
    function.set16(list[i], list[i + 1] | list[i + 2] << 8);
  }
  return pcivpd_find_capability(function);
}

TEST(PciVpd, CapabilityList) {
  EXPECT_EQ(find({0x50, 1, 0x80, 0x80, 5, 0xF8, 0xF8, 3, 0}), 0xF8);
  EXPECT_EQ(find({0x50, 3, 0}, 0xFFEF), 0);
  EXPECT_EQ(find({0x50, 1, 0xFF}), 0);
  EXPECT_EQ(find({0x50, 1, 0x60, 0x60, 5, 0x50}), 0);  // for ever
  // Where its registers would be somebody else's, a capability is none.
  EXPECT_EQ(find({0x50, 1, 0x10, 0x10, 3, 0}), 0);
  for (unsigned at : {0x3Cu, 0x52u, 0xFCu}) EXPECT_EQ(find({at, 3, 0}), 0);

  std::vector<unsigned> chain;
  for (unsigned at = 0x40; at < 0x90; at += 8) {
    chain.insert(chain.end(), {at, at < 0x88 ? 1u : 3u, at + 8});
  }
  EXPECT_EQ(find(chain), 0x88);  // the tenth
  chain.insert(chain.begin(), {0x90, 1, 0x40});
  EXPECT_EQ(find(chain), 0);
}

}  // namespace
}  // namespace kestrel
