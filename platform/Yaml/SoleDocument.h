#pragma once

#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/yaml.h>

#include <sstream>
#include <string>

namespace Yaml {

/// Where the latest document began, and nothing else of it.
class DocumentBegin final : public YAML::EventHandler {
 public:
  [[nodiscard]] const YAML::Mark& mark() const { return mark_; }

  void OnDocumentStart(const YAML::Mark& mark) override { mark_ = mark; }
  void OnDocumentEnd() override {}
  void OnNull(const YAML::Mark& /*mark*/, YAML::anchor_t /*anchor*/) override {}
  void OnAlias(const YAML::Mark& /*mark*/, YAML::anchor_t /*anchor*/) override {}
  void OnScalar(const YAML::Mark& /*mark*/, const std::string& /*tag*/, YAML::anchor_t /*anchor*/,
                const std::string& /*value*/) override {}
  void OnSequenceStart(const YAML::Mark& /*mark*/, const std::string& /*tag*/,
                       YAML::anchor_t /*anchor*/, YAML::EmitterStyle::value /*style*/) override {}
  void OnSequenceEnd() override {}
  void OnMapStart(const YAML::Mark& /*mark*/, const std::string& /*tag*/, YAML::anchor_t /*anchor*/,
                  YAML::EmitterStyle::value /*style*/) override {}
  void OnMapEnd() override {}

 private:
  YAML::Mark mark_;
};

/// The one document that a text in YAML is; a null node for a text without any. Throws
/// YAML::Exception for what is no YAML, and where a second document begins.
///
/// Not YAML::LoadAll(): on a text such as ",a" yaml-cpp 0.7 finds document after document without
/// getting any further, and so never ends.
[[nodiscard]] inline YAML::Node soleDocument(const std::string& text) {
  std::istringstream in(text);
  YAML::Parser parser(in);
  DocumentBegin begin;
  if (parser.HandleNextDocument(begin) && parser.HandleNextDocument(begin)) {
    throw YAML::ParserException(begin.mark(), "expected one document, here begins another");
  }
  return YAML::Load(text);
}

}  // namespace Yaml
