// Members of records as lists of cells (lib/table_rows.h) and of keyed lines (lib/record_lines.h)
// take them: texts whose length, and with it the width of their column, is bounded by their type,
// and what a pointer to a member tells.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>

#include "lib/utilstr.h"

namespace kestrel {

/// A text of which at most `Longest` bytes are kept, as in a fixed buffer of one byte more. Its
/// column is as wide as that buffer unless the cell says otherwise.
template <size_t Longest>
class kept_text : public std::string {
 public:
  static constexpr int buffer_size = static_cast<int>(Longest) + 1;
  kept_text() = default;
  kept_text(std::string_view text) : std::string(cut(text, Longest)) {}
  kept_text(const std::string& text) : kept_text(std::string_view(text)) {}
  kept_text(const char* text) : kept_text(std::string_view(text)) {}
};

/// The same in a column that is exactly as wide as the text is long.
template <size_t Longest>
class fitted_text : public kept_text<Longest> {
 public:
  using kept_text<Longest>::kept_text;
};

namespace cells {

/// What a pointer to a member tells: the record and the value.
template <class Source>
struct source;  // a member, or a function of the record
template <class Value, class Record>
struct source<Value Record::*> {
  using record_type = Record;
  using value = Value;
};
template <class Value, class Record>
struct source<Value (Record::*)() const> {
  using record_type = Record;
  using value = std::remove_cvref_t<Value>;
};
template <class Value, class Record>
struct source<Value (*)(const Record&)> {
  using record_type = Record;
  using value = std::remove_cvref_t<Value>;
};
// What walks over things is a record, too, by its address: its getters change it.
template <class Value, class Walker>
struct source<Value (Walker::*)()> {
  using record_type = Walker*;
  using value = Value;
};
template <class Walker>
struct source<char* (Walker::*)(char*, int)> {
  using record_type = Walker*;
  using value = const char*;
};

}  // namespace cells

}  // namespace kestrel
