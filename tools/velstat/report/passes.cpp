// Runs passes on threads; they begin in their order.
#include "velstat/report/passes.h"

#include <velstat/text/output.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <exception>
#include <thread>

namespace vel::stat {

namespace {

constexpr std::uint64_t largeInputs = 16U << 20; // bytes
constexpr unsigned mostThreads = 2;              // each thread opens the captures, which takes memory

} // namespace

OpenInputs::OpenInputs(const std::vector<std::string>& names, const std::vector<std::string>& referenceNames,
                       const sources::Options& options, const query::Limits& limits)
    : device(names, options), database(device, limits) {
  if (!referenceNames.empty()) {
    reference.emplace(referenceNames, options);
    referenceDatabase.emplace(*reference, limits);
  }
}

Passes::Passes(const std::vector<std::string>& names, const std::vector<std::string>& referenceNames,
               const query::Limits& limits) {
  open_.push_back(std::make_unique<OpenInputs>(names, referenceNames, options(), limits));
  std::uint64_t size = 0;
  bool rereadable = true;
  for (const sources::InputInfo& input : inputs().device.inputs()) {
    size += input.size;
    rereadable &= input.kind == sources::Kind::records; // text inputs are read by several threads already
  }
  if (size >= largeInputs && rereadable && std::min(mostThreads, std::thread::hardware_concurrency()) > 1) {
    open_.push_back(std::make_unique<OpenInputs>(names, referenceNames, options(), limits));
  }
}

sources::Options Passes::options() {
  return {.tellFindings = false,
          .jobs = std::clamp(std::thread::hardware_concurrency(), 1U, 64U),
          .complain = [this](std::string_view line) {
            const std::lock_guard lock(complaintsMutex_);
            if (complaints_.emplace(line).second) {
              complain(line);
            }
          }};
}

void Passes::run(std::span<const Pass> passes) {
  std::atomic<std::size_t> next = 0;
  std::mutex failureMutex;
  std::exception_ptr failure;
  const auto work = [&](OpenInputs& inputs) {
    for (std::size_t i = next++; i < passes.size(); i = next++) {
      try {
        passes[i](inputs);
      } catch (...) {
        const std::lock_guard lock(failureMutex);
        failure = failure == nullptr ? std::current_exception() : failure;
        next = passes.size();
      }
    }
  };
  {
    std::vector<std::jthread> others;
    for (std::size_t i = 1; i < open_.size(); ++i) {
      others.emplace_back([&, i] { work(*open_[i]); });
    }
    work(inputs());
  }
  if (failure != nullptr) {
    std::rethrow_exception(failure);
  }
}

bool Passes::areSound() const {
  return std::all_of(open_.begin(), open_.end(), [](const auto& each) {
    return each->device.isSound() && (!each->reference || each->reference->isSound());
  });
}

} // namespace vel::stat
