// Runs SQL that only reads.
#pragma once

#include <fleet/answer.h>
#include <fleet/http.h>

#include <chrono>
#include <string_view>

namespace vel::fleet {

// Passes the answer to the reader once the server has all of it. `limit` 0: no limit. Throws Error.
void askFleet(Http& http, std::string_view sql, std::chrono::seconds limit, AnswerReader& reader);

} // namespace vel::fleet
