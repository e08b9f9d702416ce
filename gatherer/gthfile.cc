// See gthfile.h. The container's stream is unbuffered: everything goes through it in blocks, and a
// write that fails leaves nothing behind that a later seek would write after all.
#include "gatherer/gthfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <ctime>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "gatherer/gthfile_io.h"
#include "lib/blocked_signals.h"
#include "lib/debug.h"
#include "lib/lzh.h"
#include "lib/temporary.h"
#include "lib/utilstr.h"

namespace kestrel {

using namespace gth_io;

namespace {

constexpr int64_t k_offset_limit = std::numeric_limits<uint32_t>::max();

std::string make_temporary_name() {
  std::string name = format_text("%X.tmp", static_cast<unsigned>(std::time(nullptr)));
  printd("gthfile: tmpName %s\n", name.c_str());
  return name;
}

/// Copies the stuffed container from its start to `plain`.
int copy_unstuffed(FILE* stuffed, int64_t size, FILE* plain) {
  unstuffer form;
  std::vector<unsigned char> bytes;
  std::rewind(stuffed);
  int code = read_blocks(stuffed, static_cast<uint64_t>(size), [&](byte_span piece) {
    bytes.clear();
    if (form.feed(piece, bytes)) return write_block(plain, bytes);
    printd("gtfile: byte stuffing error offset %#08x, value %#02x followed 0xff\n",
           static_cast<unsigned>(form.offset()), form.last());
    return static_cast<int>(gth_cannot_write);
  });
  if (code == gth_ok && !form.is_complete()) code = gth_cannot_write;
  return code;
}

/// Copies the plain container from its start to `stuffed`, under the other ident.
int copy_stuffed(FILE* plain, int64_t size, FILE* stuffed) {
  gth_head_bytes head;
  if (!read_at(plain, 0, head)) return gth_cannot_read;
  if (!has_plain_ident(head)) return fail(gth_not_a_gather_file, 0);
  set_ident(head, k_gth_stuffed_ident);
  std::vector<unsigned char> bytes;
  stuff(head, bytes);
  const int code = write_block(stuffed, bytes);
  if (code != gth_ok) return code;
  return read_blocks(plain, static_cast<uint64_t>(size) - head.size(), [&](byte_span piece) {
    bytes.clear();
    stuff(piece, bytes);
    return write_block(stuffed, bytes);
  });
}

}  // namespace

int le_to_host(int value) {
  if constexpr (std::endian::native == std::endian::little) return value;
  return static_cast<int>(__builtin_bswap32(static_cast<uint32_t>(value)));
}

GatherFile::~GatherFile() { CloseFile(); }

// The stream is unbuffered and every failed write was told when it happened; only the closing
// itself and the final name are still to be asked for.
int GatherFile::CloseFile() {
  const bool closed = file_ == nullptr || std::fclose(file_.release()) == 0;
  const bool is_named = !new_.is_kept() || new_.rename();
  if (name_.empty()) new_.forget();
  new_.remove();  // one that never got an item nor a name
  return !closed ? gth_cannot_write : is_named ? gth_ok : gth_cannot_create;
}

const char* GatherFile::GetTemporaryName() const { return new_.path(); }

int GatherFile::NumItems() const { return count_; }

unsigned char GatherFile::GetItemType(int index) const {
  return index < 0 || index >= count_ ? 0 : items_[index].type;
}

int GatherFile::GetFileStamp(gthStamp* stamp) const {
  if (file_ == nullptr || stamp == nullptr) return gth_bad_argument;
  *stamp = stamp_;
  return gth_ok;
}

void GatherFile::GetCurrentDate(gthStamp* stamp) {
  const std::time_t now = std::time(nullptr);
  std::tm utc = {};
  gmtime_r(&now, &utc);
  stamp->hour = static_cast<uint8_t>(utc.tm_hour);
  stamp->minute = static_cast<uint8_t>(utc.tm_min);
  stamp->second = static_cast<uint8_t>(utc.tm_sec);
  stamp->day = static_cast<uint8_t>(utc.tm_mday);
  stamp->month = static_cast<uint8_t>(utc.tm_mon + 1);
  stamp->year = static_cast<uint16_t>(utc.tm_year + 1900);
}

// --- opening ------------------------------------------------------------------------------------

int GatherFile::open_for_update(const char* path) {
  file_ = open_container(path);
  if (file_ == nullptr) return report(path, gth_cannot_open);
  identity_ = file_identity::of(fileno(file_.get()));
  return gth_ok;
}

int GatherFile::CreateFile(const char* path) {
  CloseFile();
  if (path == nullptr) return fail(gth_bad_argument, 0);
  name_.clear();
  return start(create_container(path, new_), path);
}

int GatherFile::CreateFile(const char* path, const std::string& temporary_name) {
  CloseFile();
  if (path == nullptr) return fail(gth_bad_argument, 0);
  name_ = path;
  return start(create_under_free_name(new_, temporary_name), path);
}

/// Writes the head into the new file.
int GatherFile::start(int descriptor, const char* path) {
  count_ = 0;
  if (descriptor < 0) return report(path, gth_cannot_create);
  identity_ = file_identity::of(descriptor);
  file_ = unbuffered_stream(descriptor);
  GetCurrentDate(&stamp_);
  if (file_ == nullptr || !write_at(file_.get(), 0, encode_head(stamp_))) {
    const int errnum = errno;
    if (file_ == nullptr) ::close(descriptor);
    RemoveFile();
    return fail(gth_cannot_write, errnum);
  }
  end_ = k_gth_head_size;
  return gth_ok;
}

/// From the first item on the container is to stay, under its name.
void GatherFile::keep() {
  if (name_.empty()) {
    new_.forget();
  } else if (!new_.is_kept()) {
    new_.keep_as(name_.c_str());
  }
}

void GatherFile::RemoveFile() {
  new_.remove();
  CloseFile();
}

int GatherFile::ReadFile(const char* path) {
  printd("gthfile: ReadFile %s\n", path != nullptr ? path : "(null)");
  CloseFile();
  count_ = 0;
  if (path == nullptr) return fail(gth_bad_argument, 0);
  int code = open_for_update(path);
  if (code != gth_ok) return code;
  printd("gthfile: file = %p\n", static_cast<void*>(file_.get()));
  errno = 0;
  code = read_container();
  if (code == gth_ok) return code;
  const int errnum = errno;
  CloseFile();
  count_ = 0;
  return fail(code, errnum);
}

int GatherFile::read_container() {
  gth_head_bytes head;
  if (!read_at(file_.get(), 0, head)) {
    printd("gthfile: fread head, rc = %u\n", 0U);
    return gth_cannot_read;
  }
  printd("gthfile: head.ident = %9.9s\n", reinterpret_cast<const char*>(head.data()));
  if (has_stuffed_ident(head)) {
    const int code = ReplaceNulls();
    printd("gthfile: ReplaceNulls, rc = %d\n", code);
    if (code != gth_ok) return gth_not_a_gather_file;
    if (!read_at(file_.get(), 0, head)) {
      printd("gthfile: fread head, rc = %u\n", 0U);
      return gth_cannot_read;
    }
  }
  if (!has_plain_ident(head)) return fail(gth_not_a_gather_file, 0);
  stamp_ = decode_stamp(head);
  return read_item_table(head[k_gth_count_offset]);
}

int GatherFile::read_item_table(int count) {
  printd("gthfile: Items is %d\n", count);
  end_ = k_gth_head_size;
  for (count_ = 0; count_ < count; ++count_) {
    printd("gthfile: Item %d Offset is %d\n", count_, static_cast<int>(end_));
    gth_record_bytes bytes;
    if (end_ > k_offset_limit || !read_at(file_.get(), end_, bytes)) {
      printd("gthfile: fread item, rc = %u\n", 0U);
      return gth_cannot_read;
    }
    const gth_record record = decode_record(bytes);
    items_[count_] = {record.type, static_cast<uint32_t>(end_)};
    end_ += static_cast<int64_t>(k_gth_record_size) + record.data_size();
  }
  return gth_ok;
}

// --- appending ----------------------------------------------------------------------------------

int GatherFile::AddItemFile(unsigned char type, const char* path, bool compress) {
  trace_item(type, path, compress);
  if (file_ == nullptr || path == nullptr) return fail(gth_bad_argument, 0);
  if (count_ >= k_max_items) return fail(gth_table_full, 0);
  const std::string temporary_name = make_temporary_name();
  const file_ptr source = open_local_file(path);
  if (source == nullptr) return report(path, gth_cannot_open);
  return add_source(type, source.get(), path, compress, temporary_name);
}

int GatherFile::AddItemFile(unsigned char type, FILE* source, const char* name, bool compress) {
  trace_item(type, name, compress);
  if (file_ == nullptr || source == nullptr) return fail(gth_bad_argument, 0);
  if (count_ >= k_max_items) return fail(gth_table_full, 0);
  return add_source(type, source, name, compress, make_temporary_name());
}

void GatherFile::trace_item(unsigned char type, const char* name, bool compress) const {
  printd("gthfile: AddItemFile id %#02x c %d filename %s\n", type, compress ? 1 : 0,
         name != nullptr ? name : "(null)");
  printd("gthfile: file = %p\n", static_cast<void*>(file_.get()));
}

int GatherFile::add_source(unsigned char type, FILE* source, const char* name, bool compress,
                           const std::string& temporary_name) {
  const int64_t size = length_of(source);
  if (size < 0 || size > k_offset_limit) {
    if (size >= 0) errno = EFBIG;
    return report(name, gth_cannot_open);
  }
  // What is behind the last item a killed run left there; a file that ends before it is damaged.
  const int64_t length = size_of(file_.get());
  if (length < end_) return fail(gth_cannot_read, 0);
  if (length > end_ && ftruncate(fileno(file_.get()), end_) != 0) return gth_cannot_write;

  const auto stored_size = static_cast<uint32_t>(size);
  const int code = compress ? add_compressed(type, source, temporary_name)
                            : add({type, stored_size, 0, 0}, source);
  if (code == gth_ok) printd("gthfile: AddItemFile OK\n");
  return code;
}

int GatherFile::add_compressed(unsigned char type, FILE* source,
                               const std::string& temporary_name) {
  temporary_file packed;
  file_ptr temporary = packed.create(temporary_name);
  if (temporary == nullptr) {
    const int errnum = errno;
    print_error(temporary_name.c_str(), errnum);
    const int code = add({type, 0, 0, 0}, nullptr);  // Counted without a record on purpose.
    return code == gth_ok ? fail(gth_table_full, errnum) : code;
  }
  packed.drop_name();
  LzH coder;
  LzwComp sizes = {};
  errno = 0;
  const int result = coder.Encode(source, temporary.get(), &sizes);
  if (result != 0) {
    const int errnum = result == lzh_read_failed || result == lzh_write_failed ? errno : 0;
    printd("gthfile: compression failed\n");
    return fail(gth_codec_failed, errnum);
  }
  temporary.reset();
  temporary = packed.read();
  if (temporary == nullptr) return fail(gth_codec_failed, errno);
  return add({type, sizes.uncompressed_size, 1, sizes.compressed_size}, temporary.get());
}

/// The item exists from the moment in which the head counts it; until then any failure cuts it off.
int GatherFile::add(const gth_record& record, FILE* data) {
  const int64_t offset = end_;
  std::optional<unfinished_write_note> unfinished;
  unfinished.emplace(fileno(file_.get()), offset);
  int code = data != nullptr ? append(record, data) : gth_ok;
  int errnum = errno;
  {
    const blocked_signals blocked;
    if (code == gth_ok) {
      code = write_count(count_ + 1);
      errnum = errno;
    }
    if (code == gth_ok) {
      unfinished.reset();
      keep();
    }
  }
  if (code != gth_ok) {
    if (ftruncate(fileno(file_.get()), offset) != 0) print_error("gthfile: ftruncate", errno);
    return fail(code, errnum);
  }
  items_[count_++] = {record.type, static_cast<uint32_t>(offset)};
  if (data != nullptr) end_ += static_cast<int64_t>(k_gth_record_size) + record.data_size();
  return gth_ok;
}

int GatherFile::append(const gth_record& record, FILE* data) {
  const int64_t size = static_cast<int64_t>(k_gth_record_size) + record.data_size();
  if (size > k_offset_limit - end_) return fail(gth_cannot_write, EFBIG);
  if (!write_at(file_.get(), end_, encode_record(record))) {
    const int errnum = errno;
    printd("gthfile: fwrite item returned %u\n", 0U);
    return fail(gth_cannot_write, errnum);
  }
  return copy_bytes(data, file_.get(), record.data_size());
}

int GatherFile::write_count(int count) {
  gth_head_bytes head;
  if (!read_at(file_.get(), 0, head)) {
    printd("gthfile: fread headF returned %u\n", 0U);
    return gth_cannot_read;
  }
  head[k_gth_count_offset] = static_cast<unsigned char>(count);
  if (!write_at(file_.get(), 0, head)) {
    const int errnum = errno;
    printd("gthfile: write headF returned %u\n", 0U);
    return fail(gth_cannot_write, errnum);
  }
  return gth_ok;
}

// --- extracting ---------------------------------------------------------------------------------

int GatherFile::ExtractItem(item_type type, const char* path) {
  for (int i = 0; i < count_; ++i) {
    if (items_[i].type == type) return ExtractItem(i, path);
  }
  return fail(gth_no_such_item, 0);
}

int GatherFile::ExtractItem(int index, const char* path) {
  if (file_ == nullptr || path == nullptr || index < 0 || index >= count_ ||
      identity_.is_at(path)) {
    return fail(gth_bad_argument, 0);
  }
  gth_record_bytes bytes;
  if (!read_at(file_.get(), items_[index].offset, bytes)) return gth_cannot_read;
  const gth_record record = decode_record(bytes);
  file_ptr output = create_output_file(path, "wb");
  if (output == nullptr) return report(path, gth_cannot_create);
  int code = record.is_compressed() ? extract_compressed(record, output.get())
                                    : copy_bytes(file_.get(), output.get(), record.size);
  int errnum = errno;
  if (!close_checked(std::move(output)) && code == gth_ok) {
    errnum = errno;
    code = record.is_compressed() ? gth_codec_failed : gth_cannot_write;
  }
  if (code == gth_codec_failed || code == gth_cannot_write) unlink(path);
  return fail(code, errnum);
}

/// The container stands at the data.
int GatherFile::extract_compressed(const gth_record& record, FILE* output) {
  const int64_t left = size_of(file_.get()) - ftello(file_.get());
  const auto there = static_cast<uint64_t>(std::clamp<int64_t>(left, 0, record.compressed_size));
  if (record.size > LzH::most_output(there)) return fail(gth_codec_failed, 0);
  LzH coder;
  const LzwComp sizes = {record.size, record.compressed_size};
  errno = 0;
  if (coder.Decode(file_.get(), output, &sizes) != 0) return gth_codec_failed;
  return coder.input_used() > there ? fail(gth_codec_failed, 0) : gth_ok;
}

// --- the stuffed form ---------------------------------------------------------------------------

int GatherFile::RemoveNulls(const char* path) {
  if (path == nullptr) return fail(gth_bad_argument, 0);
  const file_ptr plain = open_container(path);
  if (plain == nullptr) return report(path, gth_table_full);
  const std::string name = std::string(path) + ".tmp";
  temporary_file temporary;
  file_ptr stuffed = temporary.create(name);
  if (stuffed == nullptr) return report(name.c_str(), gth_table_full);
  int code = copy_stuffed(plain.get(), size_of(plain.get()), stuffed.get());
  int errnum = errno;
  if (code == gth_ok && !close_checked(std::move(stuffed))) {
    errnum = errno;
    code = gth_cannot_write;
  }
  if (code == gth_ok && !temporary.move_to(path)) {
    errnum = errno;
    code = gth_cannot_write;
  }
  return fail(code, errnum);
}

int GatherFile::ReplaceNulls() {
  if (file_ == nullptr) return fail(gth_bad_argument, 0);
  file_ptr plain(std::tmpfile());
  if (plain == nullptr) return report("tmpfile", gth_table_full);
  fcntl(fileno(plain.get()), F_SETFD, FD_CLOEXEC);
  std::setvbuf(plain.get(), nullptr, _IONBF, 0);
  const int code = copy_unstuffed(file_.get(), size_of(file_.get()), plain.get());
  if (code != gth_ok) return code;
  file_ = std::move(plain);

  printd("gthfile: writing signature %s\n", k_gth_ident.data());
  gth_head_bytes head;
  if (!read_at(file_.get(), 0, head)) {
    printd("gthfile: fread filehead rc = %u\n", 0U);
    return gth_cannot_read;
  }
  set_ident(head, k_gth_ident);
  if (!write_at(file_.get(), 0, head)) {
    printd("gthfile: fwrite filehead, rc = %u\n", 0U);
    return gth_cannot_write;
  }
  return gth_ok;
}

}  // namespace kestrel
