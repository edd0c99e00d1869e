// libcurl's functions, loaded when the first one is needed. If libcurl were linked, it and the 29 libraries that it
// needs would double the start-up time of every command.
#pragma once

#include <curl/curl.h>

namespace vel::fleet {

struct CurlLibrary {
  decltype(&curl_easy_init) easyInit;
  decltype(&curl_easy_cleanup) easyCleanup;
  decltype(&curl_easy_reset) easyReset;
  decltype(&curl_easy_setopt) setOption;
  decltype(&curl_easy_perform) perform;
  decltype(&curl_easy_getinfo) getInfo;
  decltype(&curl_easy_strerror) errorText;
  decltype(&curl_slist_append) listAppend;
  decltype(&curl_slist_free_all) listFree;
  decltype(&curl_url) url;
  decltype(&curl_url_cleanup) urlCleanup;
  decltype(&curl_url_set) urlSet;
  decltype(&curl_url_get) urlGet;
  decltype(&curl_free) free;
};

// Throws Error if the library is missing or cannot be initialised. [any thread]
const CurlLibrary& curl();

} // namespace vel::fleet
