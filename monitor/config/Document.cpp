#include "monitor/config/Document.h"

#include <yaml-cpp/eventhandler.h>

#include <sstream>

namespace Monitor {

namespace {

/// Where the latest document began, and nothing else of it.
class Begin final : public YAML::EventHandler {
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

}  // namespace

YAML::Node soleDocument(const std::string& text) {
  std::istringstream in(text);
  YAML::Parser parser(in);
  Begin begin;
  if (parser.HandleNextDocument(begin) && parser.HandleNextDocument(begin)) {
    throw YAML::ParserException(begin.mark(), "expected one document, here begins another");
  }
  return YAML::Load(text);
}

}  // namespace Monitor
