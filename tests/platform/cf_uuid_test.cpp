// UUIDs and the plug-in instances counted by them.
#include "no_leaks.h"
#include <control/ref.h>

#include <CoreFoundation/CFPlugIn.h>
#include <CoreFoundation/CFPlugInCOM.h>

#include <string>

using vel::control::Ref;

namespace {

using CFUUID = NoLeaks;
using UUID = Ref<CFUUIDRef>;

constexpr const char* text = "7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB719";

UUID parse(const std::string& from) {
  return UUID::adopt(vel::control::createUUID(from));
}

TEST_F(CFUUID, Bytes_AreInReadingOrder) {
  CFUUIDRef constant = CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x7F, 0x1A, 0x3A, 0xE6, 0x3E, 0x3D,
                                                      0x47, 0x0A, 0xBD, 0x15, 0xA2, 0xDD, 0x7E, 0x1B, 0xB7, 0x19);
  EXPECT_EQ(vel::control::uuidString(constant), text);
  const CFUUIDBytes bytes = CFUUIDGetUUIDBytes(constant);
  EXPECT_EQ(bytes.byte0, 0x7F);
  EXPECT_EQ(bytes.byte15, 0x19);
  const auto made = UUID::adopt(CFUUIDCreateFromUUIDBytes(nullptr, bytes));
  EXPECT_NE(made.get(), constant);
  EXPECT_TRUE(CFEqual(made.get(), constant));
  EXPECT_EQ(CFHash(made.get()), CFHash(constant));
  EXPECT_FALSE(CFEqual(made.get(), IUnknownUUID));
}

TEST_F(CFUUID, Constants_AreOneForEachValue) {
  EXPECT_EQ(IUnknownUUID, IUnknownUUID);
  EXPECT_EQ(vel::control::uuidString(IUnknownUUID), "00000000-0000-0000-C000-000000000046");
}

TEST_F(CFUUID, Text_IsParsedInEitherCaseAndNothingElse) {
  for (const char* good : {text, "7f1a3ae6-3e3d-470a-bd15-a2dd7e1bb719", "7f1A3aE6-3e3D-470A-bd15-a2DD7e1BB719"}) {
    const UUID uuid = parse(good);
    ASSERT_TRUE(uuid) << good;
    EXPECT_EQ(vel::control::uuidString(uuid.get()), text);
  }
  for (const char* bad :
       {"", "7F1A3AE6", "7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB71", "7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB7199",
        "7F1A3AE63E3D470ABD15A2DD7E1BB719", "7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB7G9",
        "7F1A3AE6-3E3D-470A-BD15A-2DD7E1BB719", "{F1A3AE6-3E3D-470A-BD15-A2DD7E1BB719}",
        "7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB71@", "7F1A3AE6 3E3D 470A BD15 A2DD7E1BB719"}) {
    EXPECT_FALSE(parse(bad)) << bad;
  }
}

TEST_F(CFUUID, PlugInInstances_AreCountedByFactory) {
  const UUID factory = parse("75F07127-BB06-490A-B1B9-81AE65DF0646");
  const UUID same = parse("75F07127-BB06-490A-B1B9-81AE65DF0646");
  CFPlugInAddInstanceForFactory(factory.get());
  CFPlugInAddInstanceForFactory(same.get());
  EXPECT_EQ(vel::control::plugInInstances(factory.get()), 2U);
  EXPECT_EQ(vel::control::plugInInstances(parse(text).get()), 0U);
  CFPlugInRemoveInstanceForFactory(factory.get());
  CFPlugInRemoveInstanceForFactory(factory.get());
  EXPECT_EQ(vel::control::plugInInstances(factory.get()), 0U);
  EXPECT_DEATH(CFPlugInRemoveInstanceForFactory(factory.get()),
               "^CFPlugInRemoveInstanceForFactory: factory 75F07127-BB06-490A-B1B9-81AE65DF0646 has no instances\n");
}

} // namespace
