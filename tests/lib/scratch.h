// Files, folders and locales for a test, gone with their owner.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace kestrel {

/// What a file holds; "" when it cannot be read.
inline std::string content_of(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

inline void put_file(const std::filesystem::path& path, std::string_view content) {
  std::ofstream(path, std::ios::binary) << content;
}

class scratch_folder {
 public:
  scratch_folder() { EXPECT_NE(mkdtemp(path_.data()), nullptr); }
  scratch_folder(const scratch_folder&) = delete;
  scratch_folder& operator=(const scratch_folder&) = delete;
  ~scratch_folder() {
    if (!before_.empty()) std::filesystem::current_path(before_);
    std::filesystem::remove_all(path_);
  }
  const std::string& path() const { return path_; }
  /// The path of something in it.
  std::string operator/(std::string_view name) const { return path_ + "/" + std::string(name); }
  /// Makes it the current folder.
  void enter() {
    before_ = std::filesystem::current_path();
    std::filesystem::current_path(path_);
  }

 private:
  std::string path_ = testing::TempDir() + "kestrel_XXXXXX";
  std::filesystem::path before_;
};

class sample_file {
 public:
  explicit sample_file(std::string_view content) { put_file(path_, content); }
  const char* path() const { return path_.c_str(); }
  std::string content() const { return content_of(path_); }

 private:
  scratch_folder folder_;
  std::string path_ = folder_ / "sample";
};

/// The locale of the process, made by localedef as "LANGUAGE" in an encoding.
class made_locale {
 public:
  made_locale(const std::string& language, const std::string& encoding) {
    const std::string name = folder_ / language;
    const std::string command =
        "localedef -c -i " + language + " -f " + encoding + " " + name + " >/dev/null 2>&1";
    EXPECT_NE(std::system(command.c_str()), -1);
    setenv("LOCPATH", folder_.path().c_str(), 1);
    EXPECT_NE(std::setlocale(LC_ALL, language.c_str()), nullptr)
        << "needs localedef and the character maps of the package locales";
  }
  ~made_locale() {
    std::setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
  }

 private:
  scratch_folder folder_;
};

}  // namespace kestrel
