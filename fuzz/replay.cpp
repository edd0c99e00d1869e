// Replaces libFuzzer in ordinary builds: runs a target on every file in the given folders, and on the empty input. No
// file may take more than 256 MiB of memory, the limit that libFuzzer gets from -rss_limit_mb.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/resource.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VEL_SANITIZED // sanitizers need memory of their own
#endif
#endif

bool staysWithinMemory() {
#ifndef VEL_SANITIZED
  struct rusage usage {};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss <= 256 << 10; // KiB
#else
  return true;
#endif
}

} // namespace

int main(int argc, char** argv) {
  std::size_t files = 0;
  LLVMFuzzerTestOneInput(nullptr, 0);
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
      if (!file) {
        std::fprintf(stderr, "%s: cannot be read\n", entry.path().c_str());
        return 1;
      }
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
      if (!staysWithinMemory()) {
        std::fprintf(stderr, "%s: takes more than 256 MiB of memory\n", entry.path().c_str());
        return 1;
      }
      ++files;
    }
  }
  std::printf("%zu files\n", files);
  return files != 0 ? 0 : 1; // an empty corpus tests nothing
}
