// Models that say only how they differ from another one: "extends" names it, "overrides" changes values inside it.
#pragma once

#include <formats/json_document.h>

#include <functional>
#include <string>

namespace vel::host {

// The text of the model with this file name, in the folder of the one that extends it. Throws formats::Error.
using ModelReader = std::function<std::string(const std::string& name)>;

// The document with all that it takes from the models it extends; one without "extends" is returned as it is. Keys of
// the document itself are checked. `source` names the document in errors, and afterwards also the models that its
// values may come from. Without a reader nothing can be extended. Throws formats::Error.
formats::Json withBase(const formats::Json& document, std::string& source, const ModelReader& readModel);

} // namespace vel::host
