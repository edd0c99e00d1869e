// Renders records as text, or as their bytes.
#pragma once

#include <sources/renderer.h>

#include <memory>

namespace vel::stat {

// The exact text of each record.
std::unique_ptr<sources::Renderer> makeTextRenderer(const profile::TimePolicy& times, profile::Framing framing);
// One line a record, with every byte that is not printable escaped.
std::unique_ptr<sources::Renderer> makeEscapedTextRenderer(const profile::TimePolicy& times);
// The records themselves.
std::unique_ptr<sources::Renderer> makeRawRenderer();

} // namespace vel::stat
