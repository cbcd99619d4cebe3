#include "Qiv/FieldText.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Qiv {
namespace {

std::string written(const std::vector<std::string>& fields) {
  std::ostringstream out;
  for (std::size_t at = 0; at < fields.size(); ++at) {
    writeField(out, fields[at], at == 0);
  }
  return out.str();
}

TEST(FieldText, FieldsAreJoinedByCommas) {
  EXPECT_EQ(written({"eth1", "443", "192.0.2.1"}), "eth1,443,192.0.2.1");
}

TEST(FieldText, ASlashStandsForItselfAndACommaDoesNot) {
  EXPECT_EQ(written({"http://192.0.2.1/a,b?c=100%", "x y"}),
            "http://192.0.2.1/a%2Cb?c=100%25,x%20y");
}

TEST(FieldText, EmptyFieldsKeepTheirPlaces) {
  EXPECT_EQ(written({"", "a", ""}), ",a,");
  EXPECT_EQ(readFields(",a,"), (std::vector<std::string>{"", "a", ""}));
  EXPECT_EQ(readFields(""), std::vector<std::string>{""});
}

TEST(FieldText, WhatWasWrittenIsReadBack) {
  const std::vector<std::string> fields = {"a,b", "%", std::string("\0,\xff", 3), "", "/ /"};
  EXPECT_EQ(readFields(written(fields)), fields);
}

TEST(FieldText, OneMalformedFieldSpoilsTheText) {
  EXPECT_EQ(readFields("a,%2"), std::nullopt);
  EXPECT_EQ(readFields("%zz,a"), std::nullopt);
}

}  // namespace
}  // namespace Qiv
