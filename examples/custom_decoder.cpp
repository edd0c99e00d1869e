// A custom decoder: names and payload fields for a category that the product does not know. Prints the records of
// standard input; those of other categories are printed as usual.
//
// The base class writes the header, the byte dump and the times. A subclass overrides only the names and the payload,
// and looks ids up with find_in_table, which prints unknown ones as numbers.
#include <profile/KIPLogDecoder.h>
#include <profile/profile_decoder.h>

#include <cstdint>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <iterator>

namespace {

class thermal_decoder : public profile_decoder {
public:
  static constexpr unsigned category = 10;

  std::string category_name(unsigned int id) override {
    return id == category ? "thermal" : profile_decoder::category_name(id);
  }

  std::string component_name(unsigned int component) override {
    static constexpr entry components[] = {{0, "zone"}, {1, "fan"}};
    return find_in_table(components, std::size(components), component);
  }

  std::string event_name(unsigned int component, unsigned int event) override {
    static constexpr entry zone_events[] = {{0, "sample"}, {1, "limit"}};
    return component == 0 ? find_in_table(zone_events, std::size(zone_events), event) : std::to_string(event);
  }

  // A zone's sample: the temperature in hundredths of a degree, in the first word of the payload. key() puts a blank
  // before the key; the caller writes the comma after the value.
  void parse_datatype(std::stringstream& out, const _VelProfileReport& report) override {
    if (report.component == 0 && report.event == 0) {
      std::int32_t hundredths = 0;
      std::memcpy(&hundredths, report.payload, sizeof hundredths);
      out << key("temperature") << std::setw(10) << hundredths / 100.0 << ",";
      return;
    }
    profile_decoder::parse_datatype(out, report);
  }
};

} // namespace

int main() {
  thermal_decoder thermal;
  _VelProfileReport report;
  while (std::cin.read(reinterpret_cast<char*>(&report), sizeof report)) {
    std::cout << (report.category == thermal_decoder::category ? thermal.to_string(report)
                                                               : KIPLogDecoder::to_string(report))
              << '\n';
  }
}
