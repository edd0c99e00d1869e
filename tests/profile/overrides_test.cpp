// Decoders of other programs: classes derived from ours are asked through their slots, and objects of ours that are not
// the registry's behave like those that are.
#include "record.h"

#include <gtest/gtest.h>

#include <iomanip>

namespace {

class OutsideDecoder : public profile_decoder {
public:
  std::string component_name(unsigned int component) override { return "part-" + std::to_string(component); }
  std::string event_name(unsigned int component, unsigned int event) override {
    return std::to_string(component) + "/" + std::to_string(event);
  }
  void parse_datatype(std::stringstream& out, const _VelProfileReport& report) override {
    seen = out.str();
    out << key("own") << std::setw(10) << str("x") << ",";
    profile_decoder::parse_datatype(out, report);
    out << key("hex") << std::hex << 255 << "," << std::setw(40);
  }

  std::string seen;
};

TEST(OutsideDecoder, NamesAndPayloadAreItsOwn) {
  OutsideDecoder decoder;
  const Record record = Record(12, 3, 4, 4).u32(20, 9).timestamp(1);
  const std::string text = decoder.to_string(record.report());
  const std::string head = "{  'category':    '12', 'component':'part-3', 'event':       '3/4', 'type':   'trigger',"
                           " 'timestamp':         1, 'sequence_num':         0,";
  EXPECT_EQ(decoder.seen, head) << "the stream holds what was written so far";
  EXPECT_EQ(text.substr(0, text.find(" 'binary-data'")),
            head + " 'own':       'x', 'trigger':1, 'thread-id':         9, 'arg':         9, 'hex':ff,"
                   " 'type-id':4, 'category-id':12, 'component-id':3, 'event-id':4,");
}

class LongNames : public zorb_decoder {
public:
  std::string category_name(unsigned int) override { return std::string(1000, 'c'); }
  std::string event_name(unsigned int, unsigned int) override { return std::string(5000, 'e'); }
};

TEST(OutsideDecoder, NamesOfAnyLengthAreWrittenWhole) {
  LongNames decoder;
  const Record record = Record(7, 3, 0, 3).u32(16, 1);
  const std::string text = decoder.to_string(record.report());
  EXPECT_EQ(text.find("{  'category':'" + std::string(1000, 'c') + "', 'component':'latency', 'event':'" +
                      std::string(5000, 'e') + "', 'type':     'event',"),
            0U);
  EXPECT_EQ(payload_of(text).find(" 'trace':'" + std::string(5000, 'e') + "', 'thread':         0,"), 0U)
      << "the latency component's actions are named by the object's own event_name";
}

// A name that is longer than any buffer for names.
class OneLongName : public profile_decoder {
public:
  explicit OneLongName(unsigned which) : which_(which) {}
  std::string category_name(unsigned int) override { return name(0); }
  std::string component_name(unsigned int) override { return name(1); }
  std::string event_name(unsigned int, unsigned int) override { return name(2); }
  std::string name(unsigned place) const { return place == which_ ? std::string(100'000, 'n') : "name"; }

private:
  unsigned which_;
};

TEST(OutsideDecoder, AnyOneNameMayBeLong) {
  for (unsigned which = 0; which < 3; ++which) {
    OneLongName decoder(which);
    const std::string text = decoder.to_string(Record(7, 0, 0, 4).report());
    const auto shown = [&](unsigned place, std::size_t width) {
      const std::string quoted = "'" + decoder.name(place) + "'";
      return std::string(quoted.size() < width ? width - quoted.size() : 0, ' ') + quoted;
    };
    EXPECT_EQ(text.substr(0, text.find(" 'type':")),
              "{  'category':" + shown(0, 8) + ", 'component':" + shown(1, 8) + ", 'event':" + shown(2, 12) + ",")
        << which;
  }
}

class HidesSubtypeName : public zorb_decoder {
public:
  std::string subtype_name(unsigned int, unsigned int) { return "hidden"; }
};

TEST(OutsideDecoder, SubtypeName_IsNotVirtual) {
  HidesSubtypeName decoder;
  EXPECT_EQ(decoder.subtype_name(0, 1), "hidden");
  const std::string payload = payload_of(decoder.to_string(Record(7, 0, 0, 3).u32(16, 1).report()));
  EXPECT_EQ(payload.substr(0, payload.find(',')), " 'trace':                'Command'");
}

class OtherCheckpoints : public zorb_decoder {
public:
  std::string event_name(unsigned int component, unsigned int event) override {
    return component == 3 ? "mine-" + std::to_string(event) : zorb_decoder::event_name(component, event);
  }
};

TEST(OutsideDecoder, CheckpointsNameActionsOfTheLatencyComponentAlone) {
  OtherCheckpoints decoder;
  EXPECT_EQ(decoder.subtype_name(3, 70000), "mine-70000");
  const auto trace_of = [&](unsigned component) {
    const std::string payload = payload_of(decoder.to_string(Record(7, component, 0, 3).u32(16, 1).report()));
    return payload.substr(0, payload.find(','));
  };
  EXPECT_EQ(trace_of(3), " 'trace':                 'mine-1'");
  EXPECT_EQ(trace_of(0), " 'trace':                'Command'");
  EXPECT_EQ(trace_of(5), " 'trace':                      '1'");
}

TEST(SeparateObjects, RenderLikeTheRegistrys) {
  zorb_decoder zorb;
  corvane_decoder corvane;
  profile_decoder base;
  for (unsigned component = 0; component < 9; ++component) {
    for (unsigned type = 0; type < 14; ++type) {
      const Record z = Record(7, component, component, type).counting(3);
      EXPECT_EQ(zorb.to_string(z.report()), text_of(z));
      const Record c = Record(4, component, 0, type).counting(200);
      EXPECT_EQ(corvane.to_string(c.report()), text_of(c));
      const Record b = Record(8, component, 0, type).counting(100);
      EXPECT_EQ(base.to_string(b.report()), text_of(b));
    }
  }
}

TEST(SeparateObjects, ReadAnyCategorysRecordByTheirOwnRules) {
  zorb_decoder zorb;
  const std::string text = zorb.to_string(Record(2, 3, 0, 10).u16(16, 3).report());
  EXPECT_EQ(
      text.find("{  'category':'sensors', 'component':'latency', 'event':'ckp_ZORBFingerON', 'type':'zorb-context',"),
      0U);
  EXPECT_EQ(payload_of(text).find(" 'context-version':3, 'currentContext0':0,"), 0U);
}

TEST(CorvaneDecoder, RecordOfAnotherCategory_IsNotRecognised) {
  corvane_decoder corvane;
  EXPECT_NE(corvane.to_string(Record(4, 0, 0, 3).report()).find(" 'x':"), std::string::npos);
  EXPECT_EQ(corvane.to_string(Record(2, 0, 0, 3).report()).find(" 'x':"), std::string::npos)
      << "the category's byte is part of the word that it compares";
}

} // namespace
