// Sets the process's LC_TIME to a locale compiled for one test, so that none need be installed.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

// The abbreviated months of a locale, January first.
using MonthNames = std::array<std::string, 12>;

class ProcessLocale {
public:
  // The times of a locale that the system has the source of, such as "de_DE".
  explicit ProcessLocale(const std::string& name) { compile("copy \"" + name + '"'); }

  explicit ProcessLocale(const MonthNames& months) {
    std::string list;
    for (const std::string& month : months) {
      list += (list.empty() ? "\"" : ";\"") + month + '"';
    }
    compile("abmon " + list);
  }

  ~ProcessLocale() {
    std::setlocale(LC_TIME, "C");
    unsetenv("LOCPATH");
    std::filesystem::remove_all(folder_);
  }
  ProcessLocale(const ProcessLocale&) = delete;
  ProcessLocale& operator=(const ProcessLocale&) = delete;

private:
  static std::filesystem::path make_folder() {
    char pattern[] = "/tmp/vel-locale.XXXXXX";
    return mkdtemp(pattern);
  }

  // localedef warns of all that the source leaves out, and then exits with 1 although it wrote the locale.
  void compile(const std::string& time) {
    const std::filesystem::path source = folder_ / "source";
    std::ofstream(source) << "escape_char /\nLC_TIME\n" << time << "\nEND LC_TIME\n";
    const std::string command =
        "localedef --quiet --force -i '" + source.string() + "' -f UTF-8 '" + (folder_ / "made").string() + "'";
    const int status = std::system(command.c_str());
    setenv("LOCPATH", folder_.c_str(), 1);
    EXPECT_NE(std::setlocale(LC_TIME, "made"), nullptr) << command << " gave " << status;
  }

  std::filesystem::path folder_ = make_folder();
};
