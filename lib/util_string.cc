// The older string functions in terms of today's: what they did by hand, std::string and utilstr.h
// do.
#include "lib/util_string.h"

#include <algorithm>
#include <cstring>

#include "lib/utilstr.h"

namespace kestrel {

std::string StrAlloc(const char* text) { return text == nullptr ? "" : text; }

std::string duplicate_string(const char* text) { return StrAlloc(text); }

void StrFree(std::string& text) { std::string().swap(text); }

void StrCat(std::string& destination, const char* source) { destination += source; }

char* StrnCpy(char* destination, const char* source, size_t size) {
  return format_string(destination, size, "%s", source);
}

void StrTrim(std::string& text) { trim_whitespace(text); }

void RemoveTrailingSpaces(std::string& text) { text.erase(text.find_last_not_of(' ') + 1); }

void StrStreap(std::string& text) {
  std::string kept;
  for (std::string_view rest = text; !rest.empty();) kept += next_word(rest);
  text = std::move(kept);
}

int StriCmp(std::string_view a, std::string_view b) {
  std::string upper_a(a), upper_b(b);
  convert_to_uppercase(upper_a);
  convert_to_uppercase(upper_b);
  return upper_a.compare(upper_b);
}

int StrniCmp(std::string_view a, std::string_view b, size_t count) {
  return StriCmp(a.substr(0, count), b.substr(0, count));
}

int CompareString(std::string_view a, std::string_view b) { return a.compare(b); }

const char* FindChars(const char* text, const char* characters) {
  return std::strpbrk(text, characters);
}

int NumWords(std::string_view text) {
  int count = 0;
  while (!next_word(text).empty()) ++count;
  return count;
}

void TranslateCRLF(std::string& text) {
  std::string kept;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') continue;
    kept.push_back(text[i]);
  }
  text = std::move(kept);
}

void ChgByteOrder(void* data, size_t length) {
  auto* bytes = static_cast<unsigned char*>(data);
  std::reverse(bytes, bytes + length);
}

const unsigned char* find_sequence(const void* buffer, size_t length, const void* pattern,
                                   size_t pattern_length) {
  const auto* bytes = static_cast<const unsigned char*>(buffer);
  const auto* wanted = static_cast<const unsigned char*>(pattern);
  const auto* found = std::search(bytes, bytes + length, wanted, wanted + pattern_length);
  return found == bytes + length ? nullptr : found;
}

}  // namespace kestrel
