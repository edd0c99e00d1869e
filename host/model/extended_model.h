// Models that say only how they differ from another one: "extends" names it, "overrides" changes values inside it.
#pragma once

#include <formats/json_document.h>

#include <functional>
#include <string>

namespace vel::host {

// The text of the model with this file name, in the folder of the one that extends it. Throws formats::Error.
using ModelReader = std::function<std::string(const std::string& name)>;

// Returns the document merged with the models that it extends; a document without "extends" is returned unchanged. The
// document's own keys are checked. `source` names the document in errors; afterwards it also names the models that
// values may come from. Without a reader, "extends" is refused. Throws formats::Error.
formats::Json withBase(const formats::Json& document, std::string& source, const ModelReader& readModel);

} // namespace vel::host
