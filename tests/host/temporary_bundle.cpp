#include "temporary_bundle.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace vel::test {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder() {
  std::string name = fs::temp_directory_path() / "vel-test-XXXXXX";
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("no temporary folder");
  }
  path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string propertyList(const Info& info) {
  std::string text = "<plist version=\"1.0\"><dict>";
  if (!info.executable.empty()) {
    text += "<key>CFBundleExecutable</key><string>" + info.executable + "</string>";
  }
  if (!info.type.empty()) {
    text += "<key>CFPlugInTypes</key><dict><key>" + info.type + "</key><array><string>" + info.factory +
            "</string></array></dict>";
  }
  if (!info.function.empty()) {
    text += "<key>CFPlugInFactories</key><dict><key>" + info.factoryInMap + "</key><string>" + info.function +
            "</string></dict>";
  }
  return text + "</dict></plist>";
}

void write(const fs::path& file, const std::string& text) {
  std::ofstream(file) << text;
}

fs::path makeBundle(const TemporaryFolder& folder, const fs::path& executable, const Info& info) {
  const fs::path bundle = folder.path() / "test.plugin";
  fs::create_directory(bundle);
  write(bundle / "Info.plist", propertyList(info));
  fs::create_symlink(executable, bundle / "PlugIn");
  return bundle;
}

} // namespace vel::test
