// The table of metric names, by index.
#include "AnalyticsKeys.h"

// Keys 21 and 28 keep their second "com.", because the aggregated data is filed under these exact names.
constinit const std::array<const char*, kVELTSRecKey_Count> kTallyStoreKeyNames = std::to_array<const char*>({
    "com.tavik.kip.button.click.count",                         // 0
    "com.tavik.kip.button.single_click.count",                  // 1
    "com.tavik.kip.button.double_click.count",                  // 2
    "com.tavik.kip.button.triple_click.count",                  // 3
    "com.tavik.kip.button.long_press.count",                    // 4
    "com.tavik.kip.button.touch_with_click.count",              // 5
    "com.tavik.kip.button.touch_no_click.count",                // 6
    "com.tavik.kip.button.click.pico",                          // 7
    "com.tavik.kip.button.touch.pico",                          // 8
    "com.tavik.kip.button.click_to_pico.time",                  // 9
    "com.tavik.kip.button.touch_to_pico.time",                  // 10
    "com.tavik.kip.button.click.duration",                      // 11
    "com.tavik.kip.button.touch.duration",                      // 12
    "com.tavik.kip.button.touch_to_first_click.time",           // 13
    "com.tavik.kip.button.touch_to_last_unclick.time",          // 14
    "com.tavik.kip.button.first_click_to_last_unclick.time",    // 15
    "com.tavik.kip.button.first_click_to_untouch.time",         // 16
    "com.tavik.kip.button.last_unclick_to_untouch.time",        // 17
    "com.tavik.kip.button.critical_error.count",                // 18
    "com.tavik.kip.button.timeout.count",                       // 19
    "com.tavik.kip.prox.ext_bl_capture.signal_delta",           // 20
    "com.tavik.com.kip.prox.baseline_to_trigger.time",          // 21
    "com.tavik.kip.prox.ref_rate_increase.percent",             // 22
    "com.tavik.kip.prox.event.ext_bl_capture.count",            // 23
    "com.tavik.kip.prox.event.smudge_timeout.bh.count",         // 24
    "com.tavik.kip.prox.event.smudge_timeout.nonbh.count",      // 25
    "com.tavik.kip.prox.event.high_amb.count",                  // 26
    "com.tavik.kip.prox.first_pocket_signal_sample.kcpss",      // 27
    "com.tavik.com.kip.prox.baseline_to_trigger.time.dist",     // 28
    "com.tavik.kip.prox.ext_bl_capture.signal_delta.dist",      // 29
    "com.tavik.kip.prox.ref_rate_increase.percent.dist",        // 30
    "com.tavik.kip.button.touch_with_click.ap_on.duration",     // 31
    "com.tavik.kip.button.touch_with_no_click.ap_on.duration",  // 32
    "com.tavik.kip.button.touch_with_click.ap_off.duration",    // 33
    "com.tavik.kip.button.touch_with_no_click.ap_off.duration", // 34
    "com.tavik.kip.button.touch.ap_on.duration",                // 35
    "com.tavik.kip.button.touch.ap_off.duration",               // 36
    "com.tavik.kip.purl.reset_hb_count",                        // 37
    "com.tavik.kip.purl.reset_count",                           // 38
    "com.tavik.kip.purl.ibfd_timeout_count",                    // 39
    "com.tavik.kip.vistrel.reset_timeout_count",                // 40
    "com.tavik.kip.button.halden.cl_timeout.count",             // 41
    "com.tavik.kip.button.halden.cl_fault.count",               // 42
    "com.tavik.kip.button.purl_probe_failure_purl_count",       // 43
    "com.tavik.kip.button.force_sensor_probe_failure_count",    // 44
    "com.tavik.kip.button.MondelArc_probe_failure",             // 45
    "com.tavik.kip.button.MondelSpk_probe_failure",             // 46
    "com.tavik.kip.test",                                       // 47
}); // to_array takes its size from the list, so a missing row does not compile
