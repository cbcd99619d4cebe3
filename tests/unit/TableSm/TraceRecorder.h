#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Trace/Trace.h"

/// Takes the trace lines of some units, from level 0 to 9, for as long as it lives.
class TraceRecorder {
 public:
  struct Line {
    std::string unit;
    int level;
    std::string text;
    Trace::Position position;
  };

  explicit TraceRecorder(std::initializer_list<std::string_view> units) : units_(units) {
    for (const std::string_view unit : units_) {
      Trace::handle(unit).levelIs(Trace::kMaxLevel);
    }
    Trace::sinkIs([this](const Trace::Line& line) {
      lines_.push_back({std::string(line.unit), line.level, std::string(line.text), line.position});
      if (onLine_) {
        onLine_(lines_.back().text);
      }
    });
  }
  TraceRecorder(const TraceRecorder&) = delete;
  TraceRecorder& operator=(const TraceRecorder&) = delete;
  ~TraceRecorder() {
    Trace::sinkIs({});
    for (const std::string_view unit : units_) {
      Trace::handle(unit).levelIs(-1);
    }
  }

  [[nodiscard]] const std::vector<Line>& lines() const { return lines_; }
  /// The lines as "LEVEL: TEXT".
  [[nodiscard]] std::vector<std::string> texts(int maxLevel = Trace::kMaxLevel) const {
    std::vector<std::string> all;
    for (const Line& line : lines_) {
      if (line.level <= maxLevel) {
        all.push_back(std::to_string(line.level) + ": " + line.text);
      }
    }
    return all;
  }
  /// How often a text was traced.
  [[nodiscard]] std::size_t count(std::string_view text) const {
    std::size_t found = 0;
    for (const Line& line : lines_) {
      found += line.text == text ? 1U : 0U;
    }
    return found;
  }
  void clear() { lines_.clear(); }
  /// Called in the middle of whatever traces; the place for a test to step in.
  void onLineIs(std::function<void(std::string)> hook) { onLine_ = std::move(hook); }

 private:
  std::vector<std::string_view> units_;
  std::vector<Line> lines_;
  std::function<void(std::string)> onLine_;
};

inline constexpr std::string_view kTableSmUnit = "ConnectivityMonitorSnmpTableSm";
inline constexpr std::string_view kSmTypesUnit = "ConnectivityMonitorSnmpSmTypes";
inline constexpr std::string_view kAgentUnit = "ConnectivityMonitorSnmpAgent";
