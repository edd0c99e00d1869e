// The payload of every datatype, against literal text.
#include "record.h"

#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;

struct PayloadCase {
  const char* name;
  Record record;
  std::string payload;
};

class Payload : public testing::TestWithParam<PayloadCase> {};

TEST_P(Payload, IsWrittenAs) {
  EXPECT_EQ(payload_of(GetParam().record), GetParam().payload);
}

const std::string six_arguments = " 'arg1':         1, 'arg2':4294967295, 'arg3':         3, 'arg4':         4,"
                                  " 'arg5':         5, 'arg6':         6,";
const std::string six_quoted_arguments = " 'xarg1':         '1', 'xarg2':         '4294967295', 'xarg3':         '3',"
                                         " 'xarg4':         '4', 'xarg5':         '5', 'xarg6':         '6',";
Record six_words(unsigned category, unsigned component, unsigned event) {
  return Record(category, component, event, 3)
      .u32(16, 1)
      .u32(20, 0xffffffff)
      .u32(24, 3)
      .u32(28, 4)
      .u32(32, 5)
      .u32(36, 6);
}

const std::string short_fields =
    " 'subtype':      4369, 'packet-size':        30, 'data-length':        30, 'data-offset':         0,"
    " 'raw-data':[19,20,21,22,23,24,25,26,27,28,29,30,31,32,33,34,35,36,37,38,39,40,41,42,43,44,45,46,47,48],";
Record short_data(unsigned category, unsigned component, unsigned event) {
  return Record(category, component, event, 2).counting(17).u16(16, 0x1111);
}

INSTANTIATE_TEST_SUITE_P(
    Common, Payload,
    testing::Values(
        PayloadCase{"Stop", Record(2, 0, 0, 0).counting(1), ""},
        PayloadCase{"Type6", Record(7, 0, 0, 6).counting(1), ""},
        PayloadCase{"Type7", Record(7, 0, 0, 7).counting(1), ""},
        PayloadCase{"ContextOutsideZorb", Record(2, 0, 0, 10).counting(3).u16(16, 3), ""},
        PayloadCase{"Type13", Record(2, 0, 0, 13).counting(1), ""},
        PayloadCase{"Type255", Record(2, 0, 0, 255).counting(1), ""},
        PayloadCase{
            "LongData_Empty", Record(1, 0, 0, 1).u16(16, 7).u16(18, 65535).u16(22, 9),
            " 'subtype':         7, 'packet-size':     65535, 'data-length':         0, 'data-offset':         9,"
            " 'raw-data':        [],"},
        PayloadCase{
            "LongData_ThreeBytes", Record(1, 0, 0, 1).counting(0).u16(20, 3),
            " 'subtype':       256, 'packet-size':       770, 'data-length':         3, 'data-offset':      1798,"
            " 'raw-data':  [8,9,10],"},
        PayloadCase{
            "LongData_ClaimsMoreThanItHolds", Record(1, 0, 0, 1).counting(0).u16(20, 100),
            " 'subtype':       256, 'packet-size':       770, 'data-length':       100, 'data-offset':      1798,"
            " 'raw-data':[8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31],"},
        PayloadCase{"ShortData_FixedNumbers", short_data(1, 0, 0), short_fields},
        PayloadCase{"Event_ShownTwice", six_words(5, 0, 0), six_arguments + six_quoted_arguments},
        PayloadCase{"Trigger_ThreadIdTwice", Record(2, 0, 16, 4).u32(16, 11).u32(20, 22).u32(24, 33),
                    " 'trigger':1, 'thread-id':        22, 'arg':        22,"},
        PayloadCase{"Function", Record(0, 1, 0, 5).u32(16, 1).u32(20, 2).u32(24, 3).u32(28, 4).u32(32, 5).u32(36, 6),
                    " 'function-id':         1, 'extra-id':         2, 'thread-id':         3, 'duration':         4,"
                    " 'depth':         5, 'thread_duration':         6,"},
        PayloadCase{
            "SensorInfo_FullName",
            Record(2, 0, 9, 8).u32(16, 1).u32(20, 2).u32(24, 3).u32(28, 4).text(32, "ABC").text(35, "twelve-chars"),
            " 'name':  'twelve-chars', 'report-interval':         1, 'batch-interval':         2,"
            " 'threshold':         3, 'time-limit':         4, 'connected':         A, 'decimation':         B,"
            " 'gyroPowerMode':         C,"},
        PayloadCase{
            "SensorInfo_EmptyNameAndRawCharacters",
            Record(2, 0, 9, 8).u8(32, 0).u8(33, 1).u8(34, 255).text(35, "\0hidden"s),
            " 'name':              '', 'report-interval':         0, 'batch-interval':         0,"
            " 'threshold':         0, 'time-limit':         0, 'connected':         \0, 'decimation':         \1,"
            " 'gyroPowerMode':         \xff,"s},
        PayloadCase{"ExtFunction_FullName",
                    Record(0, 4, 0, 9).u32(16, 1).u32(20, 2).u32(24, 3).u32(28, 4).text(32, "sixteen-letters!"),
                    " 'function':'sixteen-letters!', 'arg':         4, 'task':         1, 'thread':         2,"
                    " 'duration':         3,"},
        PayloadCase{
            "ExtFunction_ShortName", Record(0, 4, 0, 9).text(32, "run"),
            " 'function':     'run', 'arg':         0, 'task':         0, 'thread':         0, 'duration':         0,"},
        PayloadCase{"Annotation_TagAsNumberAndText",
                    Record(2, 0, 10, 11).u64(16, UINT64_MAX).text(24, "tagged!!").u32(32, 5).u32(36, 6),
                    " 'global-id':18446744073709551615, 'entry-id':2387299664172376436, 'entry':'tagged!!',"
                    " 'arg1':         5, 'arg2':         6,"},
        PayloadCase{"Annotation_ShortTag", Record(2, 0, 10, 11).u64(16, 12).text(24, "ab"),
                    " 'global-id':        12, 'entry-id':     25185, 'entry':      'ab', 'arg1':         0,"
                    " 'arg2':         0,"},
        PayloadCase{"DecimationInfo", Record(2, 0, 0, 12).u64(16, 99).u32(24, 1).u32(28, 2).u32(32, 3).text(36, "gyro"),
                    " 'name':          'gyro', 'sample-interval':         1, 'report-interval':         2,"
                    " 'batch-interval':         3, 'next-dispatch':        99,"}),
    [](const auto& info) { return info.param.name; });

Record corvane(unsigned component, unsigned event) {
  return Record(4, component, event, 3)
      .u32(16, 0xffff0000)
      .u32(20, 0x00018000)
      .u32(24, 1)
      .u32(28, 4)
      .u32(32, 5)
      .u32(36, 6);
}
const std::string corvane_arguments = " 'arg1':4294901760, 'arg2':     98304, 'arg3':         1, 'arg4':         4,"
                                      " 'arg5':         5, 'arg6':         6,";
const std::string corvane_coordinates = " 'x':        -1, 'y':       1.5, 'z':1.52588e-05,";
const std::string corvane_quoted = " 'xarg1':         '4294901760', 'xarg2':         '98304', 'xarg3':         '1',"
                                   " 'xarg4':         '4', 'xarg5':         '5', 'xarg6':         '6',";

INSTANTIATE_TEST_SUITE_P(
    Corvane, Payload,
    testing::Values(PayloadCase{"DataIn_IsFollowedByItsCommonFields", corvane(0, 0),
                                corvane_arguments + corvane_coordinates + corvane_arguments + corvane_quoted},
                    PayloadCase{"DataOut_IsNot", corvane(0, 1), corvane_arguments + corvane_coordinates},
                    PayloadCase{"OtherEvent_IsNotRecognised", corvane(0, 2), corvane_arguments + corvane_quoted},
                    PayloadCase{"OtherComponent_IsNotRecognised", corvane(1, 0), corvane_arguments + corvane_quoted},
                    PayloadCase{"ShortData_IsNotRecognised", short_data(4, 0, 0), short_fields}),
    [](const auto& info) { return info.param.name; });

const std::string button_flags = " 'fingerDetect':39, 'buttonState':40, 'pressCount':41, 'longPress':42,"
                                 " 'terminalEvent':43, 'speed':44, 'stage':45,";
Record context(unsigned version) {
  return Record(7, 1, 9, 10).counting(1).u16(16, version);
}

INSTANTIATE_TEST_SUITE_P(
    Zorb, Payload,
    testing::Values(
        PayloadCase{"Event_NamedAction", six_words(7, 0, 0),
                    " 'trace':                'Command', 'thread':4294967295, 'arg1':         3, 'arg2':         4,"
                    " 'arg3':         5, 'arg4':         6," +
                        six_arguments + six_quoted_arguments},
        PayloadCase{
            "Event_LongActionIsNotCut",
            six_words(7, 1, 0).u32(16, 18).u32(20, 0).u32(24, 0).u32(28, 0).u32(32, 0).u32(36, 0),
            " 'trace':'HandleButtonStateChanged', 'thread':         0, 'arg1':         0, 'arg2':         0,"
            " 'arg3':         0, 'arg4':         0, 'arg1':        18, 'arg2':         0, 'arg3':         0,"
            " 'arg4':         0, 'arg5':         0, 'arg6':         0, 'xarg1':         '18', 'xarg2':         '0',"
            " 'xarg3':         '0', 'xarg4':         '0', 'xarg5':         '0', 'xarg6':         '0',"},
        PayloadCase{"Event_CheckpointAction", six_words(7, 3, 0),
                    " 'trace':      'ckp_ZORBFingerOFF', 'thread':4294967295, 'arg1':         3, 'arg2':         4,"
                    " 'arg3':         5, 'arg4':         6," +
                        six_arguments + six_quoted_arguments},
        PayloadCase{"Event_UnknownComponentShowsTheNumber", six_words(7, 7, 0),
                    " 'trace':                      '1', 'thread':4294967295, 'arg1':         3, 'arg2':         4,"
                    " 'arg3':         5, 'arg4':         6," +
                        six_arguments + six_quoted_arguments},
        PayloadCase{"ShortData_OtherEventIsShownTwice", short_data(7, 0, 1), short_fields + short_fields},
        PayloadCase{
            "InputPacket", short_data(7, 0, 2).u32(27, 0x12345678),
            " 'reportID':        19, 'buttonState':        20, 'fingerDetect':        21, 'pressCount':        23,"
            " 'longPress':        24, 'terminalEvent':        25, 'speed':        26, 'stage':        27,"
            " 'stageProgress': 305419896, 'force': 589439264,"
            " 'subtype':      4369, 'packet-size':        30, 'data-length':        30, 'data-offset':         0,"
            " 'raw-data':[19,20,21,22,23,24,25,26,27,120,86,52,18,32,33,34,35,36,37,38,39,40,41,42,43,44,45,46,47,48]"
            ","},
        PayloadCase{"StatusEvent", short_data(7, 0, 3),
                    " 'status-timestamp': 370480147, 'fingerState':        27, 'buttonState':        28,"
                    " 'buttonProgress': 538910237, 'clickCount':        34, 'clickCountIsTerminal':        35,"
                    " 'clickIsLong':        36, 'clickSpeed':        37," +
                        short_fields},
        PayloadCase{
            "Context3",
            context(3)
                .u32(22, 1)
                .u32(26, 2)
                .u32(30, 3)
                .u32(34, 4)
                .u8(38, 39)
                .u8(39, 40)
                .u8(40, 41)
                .u8(41, 42)
                .u8(42, 43)
                .u8(43, 44)
                .u8(44, 45),
            " 'context-version':3, 'currentContext0':3, 'currentContext1':4, 'ampsEnabled':5, 'enabled':6, 'mode':1,"
            " 'scan_time':2, 'active_scan_interval':3, 'background_scan_interval':4," +
                button_flags},
        PayloadCase{
            "Context4", context(4),
            " 'context-version':4, 'mclk_kip_enabled':3, 'mclk_ap_enabled':4, 'halden_kip_enabled':5,"
            " 'halden_ap_enabled':6, 'haldenBusy':7, 'enableARC':8, 'enableSpkr':9, 'mclk_on':10, 'halden_on':11,"
            " 'haldenPending':12, 'ampsEnabling':13, 'purl_ready':14, 'ampsPrewarming':15, 'ampsDisabling':16,"
            " 'ampsPending':17, 'clickState':18, 'clickSpeed':19, 'test_mode':20, 'cl_enable':21,"
            " 'cl_kip_enable':22, 'cl_ap_enable':23, 'halden_ready':24, 'apState0':25, 'apState1':26,"
            " 'kipState0':27, 'kipState1':28, 'state0':29, 'state1':30,"},
        PayloadCase{"Context5",
                    context(5)
                        .u32(22, 1000000000)
                        .u32(26, 0)
                        .u8(30, 39)
                        .u8(31, 40)
                        .u8(32, 41)
                        .u8(33, 42)
                        .u8(34, 43)
                        .u8(35, 44)
                        .u8(36, 45),
                    " 'context-version':5, 'currentContext0':3, 'currentContext1':4, 'ampsEnabled':5, 'enabled':6,"
                    " 'scan_period':1000000000, 'scan_time':0," +
                        button_flags},
        PayloadCase{"Context6_ShowsNothing", context(6), ""}, PayloadCase{"Context259_ShowsNothing", context(259), ""},
        PayloadCase{
            "Context7", context(7),
            " 'context-version':7, 'mclk_kip_enabled':3, 'mclk_ap_enabled':4, 'halden_kip_enabled':5,"
            " 'halden_ap_enabled':6, 'haldenBusy':7, 'enableARC':8, 'enableSpkr':9, 'mclk_on':10, 'halden_on':11,"
            " 'haldenPending':12, 'purl_ready':13, 'ampsState':14, 'clickState':15, 'clickSpeed':16,"
            " 'test_mode':17, 'cl_enable':18, 'cl_kip_enable':19, 'cl_ap_enable':20, 'halden_ready':21,"
            " 'apState0':22, 'apState1':23, 'kipState0':24, 'kipState1':25, 'state0':26, 'state1':27,"},
        PayloadCase{"Function_IsCommon", Record(7, 0, 0, 4).u32(20, 1),
                    " 'trigger':1, 'thread-id':         1, 'arg':         1,"}),
    [](const auto& info) { return info.param.name; });

} // namespace
