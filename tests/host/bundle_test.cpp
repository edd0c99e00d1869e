// What makes a bundle, and the whole line for each thing that does not.
#include "temporary_bundle.h"
#include <host/bundle.h>
#include <host/error.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

namespace {

namespace fs = std::filesystem;
using namespace vel::host;
using namespace vel::test;

class BundleTest : public testing::Test {
protected:
  // The line of the refusal, with the bundle's path as "B".
  std::string refusal(const fs::path& path) {
    try {
      Bundle::load(path);
    } catch (const vel::formats::Error& error) {
      std::string line = error.what();
      for (std::size_t at = 0; (at = line.find(path.string(), at)) != std::string::npos; ++at) {
        line.replace(at, path.string().size(), "B");
      }
      return line;
    }
    return "(loaded)";
  }
  std::string refusalOf(const Info& info) { return refusal(makeBundle(folder, PLUG_IN_FILE_COMPLETE, info)); }
  fs::path emptyBundle() {
    fs::create_directory(folder.path() / "empty.plugin");
    return folder.path() / "empty.plugin";
  }

  const TemporaryFolder folder;
};

TEST_F(BundleTest, GoodOne_HasItsFactory) {
  const Bundle bundle = Bundle::load(makeBundle(folder, PLUG_IN_FILE_COMPLETE));
  EXPECT_NE(bundle.factory(), nullptr);
  EXPECT_EQ(bundle.factoryName(), "TestPlugInFactory");
  EXPECT_EQ(bundle.factoryID(), "01020304-0506-0708-090A-0B0C0D0E0F10");
  EXPECT_EQ(bundle.identifier(), "");
}

TEST_F(BundleTest, UUIDsInSmallLetters_AreTheSame) {
  EXPECT_EQ(refusalOf({.type = "7f1a3ae6-3e3d-470a-bd15-a2dd7e1bb719",
                       .factory = "01020304-0506-0708-090a-0b0c0d0e0f10",
                       .factoryInMap = "01020304-0506-0708-090A-0b0c0d0e0f10"}),
            "(loaded)");
}

TEST_F(BundleTest, MissingPath) {
  EXPECT_EQ(refusal(folder.path() / "none"), "B: no such file or directory");
}

TEST_F(BundleTest, PathThatCannotBeLookedAt) {
  EXPECT_EQ(refusal(std::string(300, 'p')), "B: File name too long");
}

TEST_F(BundleTest, TextFile) {
  write(folder.path() / "text", "text");
  EXPECT_EQ(refusal(folder.path() / "text"), "B: not a bundle: a bundle is a folder, this is a file");
}

TEST_F(BundleTest, NoPropertyList) {
  EXPECT_EQ(refusal(emptyBundle()), "B/Info.plist: no such file: the bundle has no property list");
}

TEST_F(BundleTest, MalformedPropertyList) {
  const fs::path bundle = emptyBundle();
  write(bundle / "Info.plist", "not a property list");
  EXPECT_EQ(refusal(bundle), "B/Info.plist: malformed property list: not an XML property list");
}

TEST_F(BundleTest, PropertyListThatIsNoDictionary) {
  const fs::path bundle = emptyBundle();
  write(bundle / "Info.plist", "<plist version=\"1.0\"><array/></plist>");
  EXPECT_EQ(refusal(bundle), "B/Info.plist: the property list is of type array, not a dictionary");
}

TEST_F(BundleTest, FactoryOfTheTypeThatIsNoString) {
  const fs::path bundle = emptyBundle();
  write(bundle / "Info.plist",
        "<plist version=\"1.0\"><dict><key>CFPlugInTypes</key><dict>"
        "<key>7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB719</key><array><true/></array></dict></dict></plist>");
  EXPECT_EQ(refusal(bundle),
            "B/Info.plist: the factory of type 7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB719 in CFPlugInTypes is "
            "of type boolean, not a string");
}

struct WrongInfo {
  const char* name;
  Info info;
  std::string line;
};

class WrongInfos : public BundleTest, public testing::WithParamInterface<WrongInfo> {};

TEST_P(WrongInfos, AreRefused) {
  EXPECT_EQ(refusalOf(GetParam().info), GetParam().line);
}

const WrongInfo wrongInfos[] = {
    {"NoTypes",
     {.type = ""},
     "B/Info.plist: CFPlugInTypes names no factory for the session-filter type 7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB719"},
    {"OtherType",
     {.type = "00000000-3E3D-470A-BD15-A2DD7E1BB719"},
     "B/Info.plist: CFPlugInTypes names no factory for the session-filter type 7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB719"},
    {"FactoryIsNoUUID", {.factory = "factory"}, "B/Info.plist: the factory \"factory\" in CFPlugInTypes is not a UUID"},
    {"NoFunction",
     {.function = ""},
     "B/Info.plist: CFPlugInFactories names no function for the factory 01020304-0506-0708-090A-0B0C0D0E0F10"},
    {"FunctionOfOtherFactory",
     {.factoryInMap = "00000000-0506-0708-090A-0B0C0D0E0F10"},
     "B/Info.plist: CFPlugInFactories names no function for the factory 01020304-0506-0708-090A-0B0C0D0E0F10"},
    {"NoExecutable", {.executable = ""}, "B/Info.plist: CFBundleExecutable names no executable"},
    {"ExecutableElsewhere",
     {.executable = "../PlugIn"},
     "B/Info.plist: CFBundleExecutable is \"../PlugIn\", not the name of a file in the bundle"},
    {"ExecutableMissing", {.executable = "Other"}, "B/Other: no such file: the bundle's executable is missing"},
    {"ExecutableWithALongName",
     {.executable = std::string(300, 'e')},
     "B/" + std::string(300, 'e') + ": File name too long"},
    {"SymbolMissing",
     {.function = "OtherFactory"},
     "B/PlugIn: has no function OtherFactory, which Info.plist names as its factory"},
};

INSTANTIATE_TEST_SUITE_P(BundleTest, WrongInfos, testing::ValuesIn(wrongInfos),
                         [](const auto& info) { return info.param.name; });

TEST_F(BundleTest, ExecutableThatIsNoSharedObject) {
  const fs::path text = folder.path() / "text";
  write(text, "this is not a shared object, but it is as long as the header that the loader reads first........");
  EXPECT_EQ(refusal(makeBundle(folder, text)), "B/PlugIn: cannot be loaded: invalid ELF header");
}

TEST_F(BundleTest, UnloadedWithItsObject) {
  const fs::path path = makeBundle(folder, PLUG_IN_FILE_COMPLETE);
  {
    const Bundle bundle = Bundle::load(path);
    void* const again = dlopen((path / "PlugIn").c_str(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(again, nullptr);
    dlclose(again);
  }
  EXPECT_EQ(dlopen((path / "PlugIn").c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr);
}

} // namespace
