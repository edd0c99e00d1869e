// Loads libcurl, which then stays loaded for the life of the process.
#include "fleet/curl_library.h"

#include <fleet/error.h>

#include <fmt/format.h>

#include <dlfcn.h>

namespace vel::fleet {

namespace {

constexpr const char* fileName = "libcurl.so.4";

template <class Function>
void find(void* library, Function& function, const char* name) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  if (function == nullptr) {
    throw Error(fmt::format("{}: it has no function {}; Debian's package is libcurl4", fileName, name));
  }
}

CurlLibrary load() {
  void* const library = dlopen(fileName, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    throw Error(fmt::format("{} cannot be loaded; Debian's package is libcurl4: {}", fileName, dlerror()));
  }
  CurlLibrary functions{};
  find(library, functions.easyInit, "curl_easy_init");
  find(library, functions.easyCleanup, "curl_easy_cleanup");
  find(library, functions.easyReset, "curl_easy_reset");
  find(library, functions.setOption, "curl_easy_setopt");
  find(library, functions.perform, "curl_easy_perform");
  find(library, functions.getInfo, "curl_easy_getinfo");
  find(library, functions.errorText, "curl_easy_strerror");
  find(library, functions.listAppend, "curl_slist_append");
  find(library, functions.listFree, "curl_slist_free_all");
  find(library, functions.url, "curl_url");
  find(library, functions.urlCleanup, "curl_url_cleanup");
  find(library, functions.urlSet, "curl_url_set");
  find(library, functions.urlGet, "curl_url_get");
  find(library, functions.free, "curl_free");
  decltype(&curl_global_init) initialise = nullptr;
  find(library, initialise, "curl_global_init");
  if (initialise(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
    throw Error(fmt::format("{}: it cannot be initialised", fileName));
  }
  return functions;
}

} // namespace

const CurlLibrary& curl() {
  static const CurlLibrary library = load();
  return library;
}

} // namespace vel::fleet
