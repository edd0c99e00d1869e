// Bundles in a temporary folder, right or wrong, made by a test.
#pragma once

#include <filesystem>
#include <string>

namespace vel::test {

// A folder that ends with the object.
class TemporaryFolder {
public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

private:
  std::filesystem::path path_;
};

// What the property list of a good bundle says; a test changes what it is about. Empty texts are left out.
struct Info {
  std::string executable = "PlugIn";
  std::string type = "7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB719";
  std::string factory = "01020304-0506-0708-090A-0B0C0D0E0F10";
  std::string factoryInMap = factory;
  std::string function = "TestPlugInFactory";
};
std::string propertyList(const Info& info);

void write(const std::filesystem::path& file, const std::string& text);
// A bundle "test.plugin" in the folder, around a shared object.
std::filesystem::path makeBundle(const TemporaryFolder& folder, const std::filesystem::path& executable,
                                 const Info& info = {});

} // namespace vel::test
