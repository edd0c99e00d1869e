// Renders the fields of a list as JSON objects and as lines of CSV.
#include <sources/field_list.h>
#include <sources/plain_fields.h>
#include <sources/record.h>
#include <sources/renderer.h>

namespace vel::sources {

namespace {

class FieldsRenderer : public Renderer {
public:
  FieldsRenderer(const profile::TimePolicy& times, const FieldList& fields) : fields_(fields), values_(times) {}

  void render(const unsigned char* records, std::size_t count, OutputBuffer& out) final {
    for (std::size_t i = 0; i < count; ++i) {
      values_.setRecord(records + i * recordSize);
      renderOne(out);
    }
  }

protected:
  virtual void renderOne(OutputBuffer& out) = 0;

  const FieldList fields_;
  FieldValues values_;
};

// Leaves out the fields that a record lacks.
class JsonFieldsRenderer final : public FieldsRenderer {
  using FieldsRenderer::FieldsRenderer;

  void renderOne(OutputBuffer& out) override {
    char separator = '{';
    for (const ListedField& field : fields_.fields()) {
      const std::size_t begin = out.view().size();
      out.append(separator);
      out.append('"');
      out.append(field.name);
      out.append("\":");
      if (values_.appendJson(out, field)) {
        separator = ',';
      } else {
        out.cut(begin);
      }
    }
    out.append(separator == '{' ? "{}\n" : "}\n");
  }
};

// Leaves the cells of fields that a record lacks empty.
class CsvFieldsRenderer final : public FieldsRenderer {
  using FieldsRenderer::FieldsRenderer;

  void renderOne(OutputBuffer& out) override {
    const char* separator = "";
    for (const ListedField& field : fields_.fields()) {
      out.append(separator);
      separator = ",";
      cell_.clear();
      values_.appendPlain(cell_, field);
      appendCsvCell(out, cell_.view());
    }
    if (fields_.fields().size() == 1 && cell_.view().empty()) {
      out.append("\"\""); // readers skip empty lines
    }
    out.append('\n');
  }

  OutputBuffer cell_;
};

} // namespace

std::unique_ptr<Renderer> makeJsonRenderer(const profile::TimePolicy& times, const FieldList& fields) {
  return std::make_unique<JsonFieldsRenderer>(times, fields);
}

std::unique_ptr<Renderer> makeCsvRenderer(const profile::TimePolicy& times, const FieldList& fields) {
  return std::make_unique<CsvFieldsRenderer>(times, fields);
}

std::string csvHeaderWith(const FieldList& fields) {
  std::string header;
  for (const ListedField& field : fields.fields()) {
    header += header.empty() ? "" : ",";
    header += field.name;
  }
  return header + '\n';
}

} // namespace vel::sources
