// The older set of string functions, which the interface promises under their names; no program
// calls them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kestrel {

/// An owned copy; a null text is the empty one.
std::string StrAlloc(const char* text);
std::string duplicate_string(const char* text);
/// Empties the text and gives its memory back.
void StrFree(std::string& text);
void StrCat(std::string& destination, const char* source);
/// Copies what fits into `size` bytes, always terminated.
char* StrnCpy(char* destination, const char* source, size_t size);
/// Cuts white space at both ends, or blanks at the end only.
void StrTrim(std::string& text);
void RemoveTrailingSpaces(std::string& text);
/// Removes every white-space character.
void StrStreap(std::string& text);
/// Below, equal to or above 0 as strcmp; the first two ignore the case of ASCII letters.
int StriCmp(std::string_view a, std::string_view b);
int StrniCmp(std::string_view a, std::string_view b, size_t count);
int CompareString(std::string_view a, std::string_view b);
/// First place in `text` of any character of `characters`, or null.
const char* FindChars(const char* text, const char* characters);
/// Words separated by white space.
int NumWords(std::string_view text);
/// CR LF becomes LF.
void TranslateCRLF(std::string& text);
/// Reverses the order of `length` bytes.
void ChgByteOrder(void* data, size_t length);
/// First place of `pattern` in the buffer, or null; unlike `FindSequence` it misses none.
const unsigned char* find_sequence(const void* buffer, size_t length, const void* pattern,
                                   size_t pattern_length);

}  // namespace kestrel
