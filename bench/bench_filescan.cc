// The file scan against `find` with the same fields, over a tree of 200,000 files of which half
// match, both writing into a file. Run it twice on a cold machine: the tree should be in the cache.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "gatherer/ks2file.h"
#include "gatherer/settings.h"
#include "lib/table.h"
#include "probes/filescan.h"

namespace kestrel {
namespace {

constexpr int k_folders = 2000;
constexpr int k_files_a_folder = 100;

// Made once, removed at the end of the program.
class tree {
 public:
  tree() {
    if (mkdtemp(path_.data()) == nullptr) std::abort();
    for (int folder = 0; folder < k_folders; ++folder) {
      const std::string below =
          path_ + "/group" + std::to_string(folder / 50) + "/folder" + std::to_string(folder) + "/";
      std::filesystem::create_directories(below);
      for (int file = 0; file < k_files_a_folder; ++file) {
        const std::string name =
            below + "file" + std::to_string(file) + (file % 2 == 0 ? ".conf" : ".text");
        close(open(name.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
      }
    }
  }
  ~tree() { std::filesystem::remove_all(path_); }
  const std::string& path() const { return path_; }

 private:
  std::string path_ = std::filesystem::temp_directory_path() / "bench_filescanXXXXXX";
};

const tree& test_tree() {
  static const tree made;
  return made;
}

void scan_into_report(benchmark::State& state) {
  const std::string report = test_tree().path() + ".report";
  gatherer_setting(setting_silent, setting_set, 1);
  Table::set_output_format(OUTPUT_XML_LOWERCASE);
  for (auto _ : state) {
    FILE* out = open_xml_file(report.c_str());
    get_filescan_info(out, test_tree().path().c_str(), "*.conf", nullptr, nullptr, nullptr, nullptr,
                      true, true);
    close_xml_file(out);
  }
  std::filesystem::remove(report);
}

void find_into_file(benchmark::State& state) {
  const std::string report = test_tree().path() + ".found";
  const std::string command =
      "find " + test_tree().path() +
      " -name '*.conf' -printf '%p %f %h %CY-%Cm-%Cd %CT %AY-%Am-%Ad %AT %TY-%Tm-%Td %TT %s %m %u"
      " %U %g %G\\n' >" +
      report;
  for (auto _ : state) {
    if (std::system(command.c_str()) != 0) state.SkipWithError("find failed");
  }
  std::filesystem::remove(report);
}

BENCHMARK(find_into_file)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(scan_into_report)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace kestrel
