// The registry and the name tables.
#include "profile/names.h"
#include "record.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using vel::profile::NameTable;

// Nothing but a dispatch table, and never deleted through a base pointer.
template <class... Decoder>
constexpr bool hold_no_data = ((sizeof(Decoder) == sizeof(void*)) && ...);
static_assert(hold_no_data<profile_decoder, execution_decoder, trace_decoder, sensor_decoder, lantor_decoder,
                           corvane_decoder, interrupt_decoder, uart_decoder, zorb_decoder, scm_decoder>);
static_assert(!std::has_virtual_destructor_v<profile_decoder>);
static_assert(!std::is_constructible_v<KIPLogDecoder>);

// A pointer to a virtual member holds 1 + the offset of its slot.
template <class Member>
std::size_t slot_of(Member member) {
  std::size_t representation;
  std::memcpy(&representation, &member, sizeof representation);
  return (representation - 1) / sizeof(void*);
}

TEST(Registry, SlotsStandInTheirOrder) {
  EXPECT_EQ(slot_of(&profile_decoder::to_string), 0U);
  EXPECT_EQ(slot_of(&profile_decoder::category_name), 1U);
  EXPECT_EQ(slot_of(&profile_decoder::component_name), 2U);
  EXPECT_EQ(slot_of(&profile_decoder::event_name), 3U);
  EXPECT_EQ(slot_of(&profile_decoder::parse_datatype), 4U);
}

// A virtual member of its own comes behind those of the class that it is derived from.
template <class Decoder>
class WithAnotherSlot : public Decoder {
public:
  virtual void another() {}
};

template <class... Decoder>
std::vector<std::size_t> numbers_of_slots() {
  return {slot_of(&WithAnotherSlot<Decoder>::another)...};
}

TEST(Registry, NoDecoderHasASixthSlot) {
  EXPECT_EQ((numbers_of_slots<profile_decoder, execution_decoder, trace_decoder, sensor_decoder, lantor_decoder,
                              corvane_decoder, interrupt_decoder, uart_decoder, zorb_decoder, scm_decoder>()),
            std::vector<std::size_t>(10, 5));
}

TEST(Registry, DecodersStandInTheOrderOfTheirCategories) {
  const profile_decoder* const expected[] = {
      &KIPLogDecoder::_exec,    &KIPLogDecoder::_trace,     &KIPLogDecoder::_sensor, &KIPLogDecoder::_lantor,
      &KIPLogDecoder::_corvane, &KIPLogDecoder::_interrupt, &KIPLogDecoder::_uart,   &KIPLogDecoder::_zorb,
      &KIPLogDecoder::_control, &KIPLogDecoder::_scm,
  };
  ASSERT_EQ(std::size(KIPLogDecoder::_decoders), std::size(expected));
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    EXPECT_EQ(KIPLogDecoder::_decoders[i], expected[i]) << i;
  }
}

TEST(Registry, EmptySlot_FallsBackToTheDefaultDecoder) {
  profile_decoder* const sensor = std::exchange(KIPLogDecoder::_decoders[2], nullptr);
  const std::string text = text_of({2, 0, 0, 0});
  const std::string category = KIPLogDecoder::category_to_string(2);
  const std::string component = KIPLogDecoder::component_to_string(2, 1);
  KIPLogDecoder::_decoders[2] = sensor;
  EXPECT_EQ(text.substr(0, text.find(" 'type'")),
            "{  'category':'sensors', 'component':     '0', 'event':         '0',");
  EXPECT_EQ(category, "2");
  EXPECT_EQ(component, "2");
}

TEST(Registry, ReplacedDecoder_NamesWithItsOwnTables) {
  profile_decoder* const sensor = std::exchange(KIPLogDecoder::_decoders[2], &KIPLogDecoder::_uart);
  const std::string text = text_of({2, 0, 3, 0});
  KIPLogDecoder::_decoders[2] = sensor;
  EXPECT_EQ(text.substr(0, text.find(" 'type'")),
            "{  'category':'sensors', 'component': 'uart0', 'event':     'trace',");
}

TEST(Registry, CategoryToString) {
  const char* const names[] = {"execution", "trace", "sensors", "lantor", "corvane", "interrupt",
                               "uart",      "zorb",  "control", "scm",    "10",      "11"};
  for (unsigned id = 0; id < std::size(names); ++id) {
    EXPECT_EQ(KIPLogDecoder::category_to_string(id), names[id]);
  }
  EXPECT_EQ(KIPLogDecoder::category_to_string(4294967295), "4294967295");
}

TEST(Registry, ComponentToString_WithoutADecoder_PrintsTheCategory) {
  EXPECT_EQ(KIPLogDecoder::component_to_string(12, 3), "12");
  EXPECT_EQ(KIPLogDecoder::component_to_string(10, 0), "10");
  EXPECT_EQ(KIPLogDecoder::component_to_string(8, 3), "3");
  EXPECT_EQ(KIPLogDecoder::component_to_string(7, 3), "latency");
}

TEST(Registry, TypeName) {
  const char* const names[] = {"stop",         "long-data",     "short-data",     "event",      "trigger",
                               "function",     "zorb-context1", "zorb-context2",  "sensorinfo", "extfunction",
                               "zorb-context", "annotation",    "decimationinfo", "13",         "14"};
  profile_decoder decoder;
  for (unsigned id = 0; id < std::size(names); ++id) {
    EXPECT_EQ(decoder.type_name(id), names[id]);
  }
  EXPECT_EQ(decoder.type_name(255), "255");
}

TEST(Registry, FindInTable) {
  const profile_decoder::entry rows[] = {{7, "first"}, {3, "other"}, {7, "second"}, {4000000000, "large"}};
  profile_decoder decoder;
  EXPECT_EQ(decoder.find_in_table(rows, 4, 7), "first");
  EXPECT_EQ(decoder.find_in_table(rows, 4, 3), "other");
  EXPECT_EQ(decoder.find_in_table(rows, 4, 4000000000), "large");
  EXPECT_EQ(decoder.find_in_table(rows, 3, 4000000000), "4000000000");
  EXPECT_EQ(decoder.find_in_table(rows, 0, 7), "7");
  EXPECT_EQ(decoder.find_in_table(nullptr, 0, 0), "0");
}

struct NameCase {
  unsigned category;
  unsigned component;
  unsigned event;
  const char* component_name;
  const char* event_name;
};

class Names : public testing::TestWithParam<NameCase> {};

TEST_P(Names, OfComponentAndEvent) {
  const NameCase& c = GetParam();
  EXPECT_EQ(KIPLogDecoder::_decoders[c.category]->component_name(c.component), c.component_name);
  EXPECT_EQ(KIPLogDecoder::_decoders[c.category]->event_name(c.component, c.event), c.event_name);
}

INSTANTIATE_TEST_SUITE_P(Execution, Names,
                         testing::Values(NameCase{0, 0, 0, "scheduler", "context-switch"},
                                         NameCase{0, 0, 2, "scheduler", "thread-state"},
                                         NameCase{0, 0, 3, "scheduler", "3"}, NameCase{0, 1, 0, "function", "function"},
                                         NameCase{0, 1, 1, "function", "1"}, NameCase{0, 2, 1, "workloop", "signal"},
                                         NameCase{0, 3, 7, "command", "user-report"},
                                         NameCase{0, 4, 0, "extfunction", "extfunction"}, NameCase{0, 5, 0, "5", "0"},
                                         NameCase{0, 255, 1, "255", "1"}));
INSTANTIATE_TEST_SUITE_P(Trace, Names,
                         testing::Values(NameCase{1, 0, 0, "remoteq", "0"}, NameCase{1, 3, 255, "interrupt", "255"},
                                         NameCase{1, 4, 1, "4", "1"}));
INSTANTIATE_TEST_SUITE_P(Sensor, Names,
                         testing::Values(NameCase{2, 0, 0, "accel", "latency"},
                                         NameCase{2, 6, 10, "temperature", "annotation"}, NameCase{2, 7, 11, "7", "11"},
                                         NameCase{2, 7, 15, "7", "15"},
                                         NameCase{2, 200, 16, "200", "trigger-magnitude"},
                                         NameCase{2, 1, 17, "gyro", "trigger-latency"},
                                         NameCase{2, 2, 18, "compass", "18"}, NameCase{2, 3, 255, "pressure", "255"}));
INSTANTIATE_TEST_SUITE_P(Lantor, Names,
                         testing::Values(NameCase{3, 0, 1, "lantor", "monitor"}, NameCase{3, 1, 2, "1", "2"},
                                         NameCase{3, 9, 17, "9", "trigger-latency"}));
INSTANTIATE_TEST_SUITE_P(Corvane, Names,
                         testing::Values(NameCase{4, 0, 0, "corvane", "data-in"}, NameCase{4, 1, 1, "1", "data-out"},
                                         NameCase{4, 0, 2, "corvane", "2"}));
INSTANTIATE_TEST_SUITE_P(Interrupt, Names,
                         testing::Values(NameCase{5, 0, 0, "gpio", "latency"}, NameCase{5, 1, 1, "1", "1"},
                                         NameCase{5, 77, 0, "77", "latency"}));
INSTANTIATE_TEST_SUITE_P(Uart, Names,
                         testing::Values(NameCase{6, 0, 0, "uart0", "preamble"}, NameCase{6, 2, 7, "uart2", "kip-test"},
                                         NameCase{6, 3, 8, "3", "8"}));
INSTANTIATE_TEST_SUITE_P(
    Zorb, Names,
    testing::Values(NameCase{7, 0, 0, "zorb", "trace"}, NameCase{7, 0, 16, "zorb", "trigger-fingeron"},
                    NameCase{7, 1, 19, "halden", "trigger-clickoff"}, NameCase{7, 2, 4, "amp", "4"},
                    NameCase{7, 3, 0, "latency", "ckp_ZORBFingerON"},
                    NameCase{7, 3, 7, "latency", "ckp_HaldenPlayAsset"}, NameCase{7, 3, 16, "latency", "16"},
                    NameCase{7, 4, 3, "purl", "status-event"}, NameCase{7, 5, 1, "kipaudio", "context"},
                    NameCase{7, 6, 2, "kipvoicetrigger", "input-packet"},
                    NameCase{7, 250, 18, "250", "trigger-clickon"}));
INSTANTIATE_TEST_SUITE_P(ControlAndScm, Names,
                         testing::Values(NameCase{8, 0, 0, "0", "0"}, NameCase{9, 0, 0, "spi0", "0"},
                                         NameCase{9, 5, 9, "i2c_ctrl1", "9"}, NameCase{9, 6, 0, "6", "0"}));

struct SubtypeCase {
  unsigned component;
  unsigned subtype;
  const char* name;
};

class SubtypeNames : public testing::TestWithParam<SubtypeCase> {};

TEST_P(SubtypeNames, DependOnTheComponent) {
  EXPECT_EQ(KIPLogDecoder::_zorb.subtype_name(GetParam().component, GetParam().subtype), GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(, SubtypeNames,
                         testing::Values(SubtypeCase{3, 5, "ckp_HaldenStartHaptics"},
                                         SubtypeCase{0, 5, "AmpWorkerRequestComplete"}, SubtypeCase{5, 5, "5"},
                                         SubtypeCase{6, 5, "5"}, SubtypeCase{9, 5, "5"}, SubtypeCase{1, 49, "49"},
                                         SubtypeCase{1, 99, "99"}, SubtypeCase{4, 100, "ResetBegin"},
                                         SubtypeCase{1, 215, "AmpPowerUpPhase1"},
                                         SubtypeCase{1, 224, "AmpPowerUpPhase1"},
                                         SubtypeCase{2, 232, "PreWarmToIVEnabled"}, SubtypeCase{2, 233, "233"},
                                         SubtypeCase{0, 4294967295, "4294967295"}, SubtypeCase{3, 8, "8"}));

TEST(NameTables, AreFoundBothWays) {
  EXPECT_EQ(vel::profile::id_of(vel::profile::category_names(), "sensors"), 2U);
  EXPECT_EQ(vel::profile::id_of(vel::profile::category_names(), "sensor"), std::nullopt);
  EXPECT_EQ(vel::profile::id_of(vel::profile::datatype_names(), "zorb-context"), 10U);
  EXPECT_EQ(vel::profile::id_of(vel::profile::component_names(9), "i2c_ctrl1"), 5U);
  EXPECT_EQ(vel::profile::id_of(vel::profile::component_names(8), "control"), std::nullopt);
  EXPECT_EQ(vel::profile::id_of(vel::profile::event_names(7, 3), "ckp_ARCReady"), 6U);
  EXPECT_EQ(vel::profile::id_of(vel::profile::subtype_names(7, 0), "DisabledToPreWarm"), 202U);
}

TEST(NameTables, HaveTheirSizes) {
  EXPECT_EQ(vel::profile::category_names().size(), 10U);
  EXPECT_EQ(vel::profile::datatype_names().size(), 13U);
  EXPECT_EQ(vel::profile::subtype_names(7, 0).size(), 90U);
  EXPECT_EQ(vel::profile::event_names(7, 0).size(), 8U);
  EXPECT_EQ(vel::profile::event_names(7, 3).size(), 8U);
  EXPECT_EQ(vel::profile::event_names(2, 0).size(), 13U);
  EXPECT_TRUE(vel::profile::event_names(1, 0).empty());
  EXPECT_TRUE(vel::profile::component_names(10).empty());
}

} // namespace
