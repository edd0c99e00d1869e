// The names of the firmware's metrics, written out a second time: tests compare the plug-in's own table with these.
#pragma once

#include <iterator>

namespace vel::test {

// By index.
inline constexpr const char* kKeyNames[] = {
    "com.tavik.kip.button.click.count",
    "com.tavik.kip.button.single_click.count",
    "com.tavik.kip.button.double_click.count",
    "com.tavik.kip.button.triple_click.count",
    "com.tavik.kip.button.long_press.count",
    "com.tavik.kip.button.touch_with_click.count",
    "com.tavik.kip.button.touch_no_click.count",
    "com.tavik.kip.button.click.pico",
    "com.tavik.kip.button.touch.pico",
    "com.tavik.kip.button.click_to_pico.time",
    "com.tavik.kip.button.touch_to_pico.time",
    "com.tavik.kip.button.click.duration",
    "com.tavik.kip.button.touch.duration",
    "com.tavik.kip.button.touch_to_first_click.time",
    "com.tavik.kip.button.touch_to_last_unclick.time",
    "com.tavik.kip.button.first_click_to_last_unclick.time",
    "com.tavik.kip.button.first_click_to_untouch.time",
    "com.tavik.kip.button.last_unclick_to_untouch.time",
    "com.tavik.kip.button.critical_error.count",
    "com.tavik.kip.button.timeout.count",
    "com.tavik.kip.prox.ext_bl_capture.signal_delta",
    "com.tavik.com.kip.prox.baseline_to_trigger.time",
    "com.tavik.kip.prox.ref_rate_increase.percent",
    "com.tavik.kip.prox.event.ext_bl_capture.count",
    "com.tavik.kip.prox.event.smudge_timeout.bh.count",
    "com.tavik.kip.prox.event.smudge_timeout.nonbh.count",
    "com.tavik.kip.prox.event.high_amb.count",
    "com.tavik.kip.prox.first_pocket_signal_sample.kcpss",
    "com.tavik.com.kip.prox.baseline_to_trigger.time.dist",
    "com.tavik.kip.prox.ext_bl_capture.signal_delta.dist",
    "com.tavik.kip.prox.ref_rate_increase.percent.dist",
    "com.tavik.kip.button.touch_with_click.ap_on.duration",
    "com.tavik.kip.button.touch_with_no_click.ap_on.duration",
    "com.tavik.kip.button.touch_with_click.ap_off.duration",
    "com.tavik.kip.button.touch_with_no_click.ap_off.duration",
    "com.tavik.kip.button.touch.ap_on.duration",
    "com.tavik.kip.button.touch.ap_off.duration",
    "com.tavik.kip.purl.reset_hb_count",
    "com.tavik.kip.purl.reset_count",
    "com.tavik.kip.purl.ibfd_timeout_count",
    "com.tavik.kip.vistrel.reset_timeout_count",
    "com.tavik.kip.button.halden.cl_timeout.count",
    "com.tavik.kip.button.halden.cl_fault.count",
    "com.tavik.kip.button.purl_probe_failure_purl_count",
    "com.tavik.kip.button.force_sensor_probe_failure_count",
    "com.tavik.kip.button.MondelArc_probe_failure",
    "com.tavik.kip.button.MondelSpk_probe_failure",
    "com.tavik.kip.test",
};
static_assert(std::size(kKeyNames) == 48);

} // namespace vel::test
