// The registry's objects, all constant-initialised, and the choice among them.
#include "profile/KIPLogDecoder.h"

#include "own_decoder.h"

#include <iterator>

constinit execution_decoder KIPLogDecoder::_exec;
constinit trace_decoder KIPLogDecoder::_trace;
constinit sensor_decoder KIPLogDecoder::_sensor;
constinit lantor_decoder KIPLogDecoder::_lantor;
constinit corvane_decoder KIPLogDecoder::_corvane;
constinit interrupt_decoder KIPLogDecoder::_interrupt;
constinit uart_decoder KIPLogDecoder::_uart;
constinit zorb_decoder KIPLogDecoder::_zorb;
constinit profile_decoder KIPLogDecoder::_control;
constinit scm_decoder KIPLogDecoder::_scm;
constinit profile_decoder KIPLogDecoder::_default;

constinit profile_decoder* KIPLogDecoder::_decoders[10] = {
    &_exec, &_trace, &_sensor, &_lantor, &_corvane, &_interrupt, &_uart, &_zorb, &_control, &_scm,
};

namespace {

profile_decoder* registered(unsigned category) {
  return category < std::size(KIPLogDecoder::_decoders) ? KIPLogDecoder::_decoders[category] : nullptr;
}

} // namespace

std::string KIPLogDecoder::to_string(const _VelProfileReport& report) {
  profile_decoder* const decoder = registered(report.category);
  return (decoder != nullptr ? decoder : &_default)->to_string(report);
}

std::string KIPLogDecoder::category_to_string(unsigned int category) {
  profile_decoder* const decoder = registered(category);
  return decoder != nullptr ? decoder->category_name(category) : std::to_string(category);
}

std::string KIPLogDecoder::component_to_string(unsigned int category, unsigned int component) {
  profile_decoder* const decoder = registered(category);
  return decoder != nullptr ? decoder->component_name(component) : std::to_string(category);
}

namespace vel::profile {

bool is_own_decoder(const profile_decoder* decoder, unsigned category) noexcept {
  static constexpr const profile_decoder* own[] = {
      &KIPLogDecoder::_exec,    &KIPLogDecoder::_trace,     &KIPLogDecoder::_sensor, &KIPLogDecoder::_lantor,
      &KIPLogDecoder::_corvane, &KIPLogDecoder::_interrupt, &KIPLogDecoder::_uart,   &KIPLogDecoder::_zorb,
      &KIPLogDecoder::_control, &KIPLogDecoder::_scm,
  };
  return decoder == (category < std::size(own) ? own[category] : &KIPLogDecoder::_default);
}

} // namespace vel::profile
