// The registry: its decoder objects, all constant-initialised, and the choice between them. If a category's decoder is
// our own, its record is rendered straight from the tables, without virtual calls.
#include "profile/KIPLogDecoder.h"

#include "engine.h"
#include "text_block.h"

#include <iterator>
#include <utility>

using namespace vel::profile;

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

namespace {

// The decoder of a category that has no class of its own.
template <unsigned Category>
constinit category_decoder<Category> decoder_without_class;

template <unsigned Category>
constexpr profile_decoder* decoder_of() {
  constexpr profile_decoder* with_class[] = {
      &KIPLogDecoder::_exec,    &KIPLogDecoder::_trace,     &KIPLogDecoder::_sensor, &KIPLogDecoder::_lantor,
      &KIPLogDecoder::_corvane, &KIPLogDecoder::_interrupt, &KIPLogDecoder::_uart,   &KIPLogDecoder::_zorb,
      &KIPLogDecoder::_control, &KIPLogDecoder::_scm,
  };
  if constexpr (Category < std::size(with_class)) {
    return with_class[Category];
  } else {
    return &decoder_without_class<Category>;
  }
}

// Our own decoder of each category. The virtual members of these objects return what is in the category table.
constexpr auto own_decoders = []<unsigned... Category>(std::integer_sequence<unsigned, Category...>) {
  return std::array{decoder_of<Category>()...};
}
(std::make_integer_sequence<unsigned, category_id::count>());

profile_decoder* registered(unsigned category) {
  return category < KIPLogDecoder::_decoders.size() ? KIPLogDecoder::_decoders[category] : nullptr;
}

bool is_own(const profile_decoder* decoder, unsigned category) {
  return decoder == (category < own_decoders.size() ? own_decoders[category] : &KIPLogDecoder::_default);
}

// The text as profile_decoder::to_string makes it, with names and payload straight from the tables.
std::string text_from_tables(profile_decoder& decoder, const _VelProfileReport& report) {
  const unsigned char* record = bytes_of(report);
  const Times times(decoder, report);
  const auto write = [&](char* p) {
    p = write_head(p, record);
    p = write_payload(p, record, report.category);
    return write_end(p, record, times);
  };
  return with_block(times.wall.size(), write, [](std::string_view text) { return std::string(text); });
}

} // namespace

constinit std::array<profile_decoder*, category_id::count> KIPLogDecoder::_decoders = own_decoders;

std::string KIPLogDecoder::to_string(const _VelProfileReport& report) {
  profile_decoder* const entry = registered(report.category);
  profile_decoder* const decoder = entry != nullptr ? entry : &_default;
  return is_own(decoder, report.category) ? text_from_tables(*decoder, report) : decoder->to_string(report);
}

std::string KIPLogDecoder::category_to_string(unsigned int category) {
  profile_decoder* const decoder = registered(category);
  return decoder != nullptr ? decoder->category_name(category) : std::to_string(category);
}

std::string KIPLogDecoder::component_to_string(unsigned int category, unsigned int component) {
  profile_decoder* const decoder = registered(category);
  return decoder != nullptr ? decoder->component_name(component) : std::to_string(category);
}
