// A fixture for the analytics store: a fresh folder, the six operations by plain names, and the rows by key.
#pragma once

#include "services_fixture.h"

#include <TallyStore/TallyStore.h>

#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

class TallyFile : public Services {
protected:
  void SetUp() override {
    Services::SetUp();
    std::string name = testing::TempDir() + "tally-XXXXXX";
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
    path = folder_ / "tally.sqlite";
  }
  void TearDown() override {
    vel::control::closeTallyStore();
    vel::control::setTallyTime({});
    vel::control::keepTallyInMemory(true);
    std::filesystem::remove_all(folder_);
    Services::TearDown();
  }

  using Row = vel::control::TallyRow;
  using Kind = vel::control::TallyKind;
  using Key = vel::control::Ref<CFStringRef>;

  static Key key(const std::string& name) {
    return Key::adopt(CFStringCreateWithCString(nullptr, name.c_str(), kCFStringEncodingUTF8));
  }
  static void add(const std::string& name, std::int64_t value) { TSClientAddValueForScalarKey(key(name).get(), value); }
  static void push(const std::string& name, double sample, int times = 1) {
    const Key one = key(name);
    for (int i = 0; i < times; ++i) {
      TSClientPushValueForDistributionKey(one.get(), sample);
    }
  }

  // Makes a store with scalars and distributions of both kinds.
  void fill() {
    vel::control::openTallyStore(path);
    vel::control::beginTallyBatch();
    for (int i = 0; i < 200; ++i) {
      add("scalar" + std::to_string(i), i);
      push("wide", i * 1.5 - 70);
    }
    push("narrow", 2, 100);
    vel::control::endTallyBatch();
    vel::control::closeTallyStore();
  }

  std::vector<Row> rows() const { return vel::control::readTallyStore(path); }
  // The row of a key, which there is.
  Row row(const std::string& name, Kind kind) const {
    for (const Row& one : rows()) {
      if (one.key == name && one.kind == kind) {
        return one;
      }
    }
    ADD_FAILURE() << "no row for " << name;
    return {};
  }
  std::int64_t scalar(const std::string& name) const { return row(name, Kind::scalar).scalar.value; }
  vel::control::TallyDistribution distribution(const std::string& name) const {
    return row(name, Kind::distribution).distribution;
  }

  // What a function throws; empty for nothing.
  template <class Function>
  static std::string errorOf(Function function) {
    try {
      function();
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return {};
  }

  static std::string contentOf(const std::filesystem::path& file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
  }
  static void writeFile(const std::filesystem::path& file, const std::string& content) {
    std::ofstream(file, std::ios::binary) << content;
  }
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  // Runs SQL on a file, as another program would, and returns the rows: values with | between, newlines after.
  static std::string sql(const std::filesystem::path& file, const std::string& text) {
    sqlite3* opened = nullptr;
    sqlite3_open(file.c_str(), &opened);
    const std::unique_ptr<sqlite3, int (*)(sqlite3*)> database(opened, sqlite3_close);
    std::string out;
    const auto collect = [](void* to, int columns, char** values, char**) {
      for (int i = 0; i < columns; ++i) {
        *static_cast<std::string*>(to) += (i == 0 ? "" : "|") + std::string(values[i] == nullptr ? "" : values[i]);
      }
      *static_cast<std::string*>(to) += '\n';
      return 0;
    };
    char* message = nullptr;
    if (sqlite3_exec(opened, text.c_str(), collect, &out, &message) != SQLITE_OK) {
      ADD_FAILURE() << text << ": " << message;
      sqlite3_free(message);
    }
    return out;
  }

  std::filesystem::path folder_;
  std::filesystem::path path;
};

// The same with a store that is open.
class OpenTallyFile : public TallyFile {
protected:
  void SetUp() override {
    TallyFile::SetUp();
    vel::control::openTallyStore(path);
  }
};
