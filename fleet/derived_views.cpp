// Reads the embedded files of fleet/views/: comments first, then one SELECT.
#include "fleet/derived_views.h"

#include <filesystem>
#include <span>
#include <utility>

namespace vel {
extern const std::span<const std::pair<std::string_view, std::string_view>> embeddedViews;
}

namespace vel::fleet {

std::vector<DerivedView> derivedViews() {
  constexpr std::string_view comment = "-- ";
  std::vector<DerivedView> views;
  for (const auto& [file, content] : embeddedViews) {
    DerivedView view{.name = std::filesystem::path(file).stem().string(), .about = {}, .sql = {}};
    std::string_view rest = content;
    while (rest.starts_with(comment)) {
      const std::size_t end = rest.find('\n');
      view.about += (view.about.empty() ? "" : "\n") + std::string(rest.substr(comment.size(), end - comment.size()));
      rest.remove_prefix(end + 1);
    }
    view.sql = rest.substr(0, rest.find_last_not_of('\n') + 1);
    views.push_back(std::move(view));
  }
  return views;
}

std::string withTables(std::string_view sql, const std::function<std::string(std::string_view)>& nameOf) {
  std::string result;
  for (std::size_t begin = sql.find('{'); begin != std::string_view::npos; begin = sql.find('{')) {
    const std::size_t end = sql.find('}', begin);
    result += sql.substr(0, begin);
    result += nameOf(sql.substr(begin + 1, end - begin - 1));
    sql.remove_prefix(end + 1);
  }
  return result += sql;
}

} // namespace vel::fleet
