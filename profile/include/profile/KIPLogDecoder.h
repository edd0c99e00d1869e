// The registry: which decoder reads which category.
#pragma once

#include "profile/category.h"
#include "profile/profile_decoder.h"

#include <array>

// Static members only; all are initialised before any code runs, and none changes afterwards. [any thread]
class KIPLogDecoder {
public:
  KIPLogDecoder() = delete;

  // The text of one report, from the decoder of its category.
  static std::string to_string(const _VelProfileReport& report);
  static std::string category_to_string(unsigned int category);
  // For a category without a decoder this is, deliberately, the number of the category and not of the component.
  static std::string component_to_string(unsigned int category, unsigned int component);

  static execution_decoder _exec;
  static trace_decoder _trace;
  static sensor_decoder _sensor;
  static lantor_decoder _lantor;
  static corvane_decoder _corvane;
  static interrupt_decoder _interrupt;
  static uart_decoder _uart;
  static zorb_decoder _zorb;
  static profile_decoder _control;
  static scm_decoder _scm;
  static profile_decoder _default;

  // Indexed by category. _default is used for a null element; initially there is none.
  static std::array<profile_decoder*, vel::profile::category_id::count> _decoders;
};
