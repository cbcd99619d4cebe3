// What is written as text is read back, whatever octets it is made of.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <sstream>

#include "ConnectivityMonitor/Keys.h"
#include "Qiv/Dir.h"
#include "Qiv/FieldText.h"
#include "Qiv/Url.h"
#include "tests/property/OctetsForProperties.h"

namespace Properties {
namespace {

using namespace ConnectivityMonitor;
using Lintu::IpGenAddr;

rc::Gen<IpGenAddr> address() {
  const auto octet = rc::gen::arbitrary<std::uint8_t>();
  return rc::gen::oneOf(
      rc::gen::just(IpGenAddr()),
      rc::gen::map(rc::gen::container<std::array<std::uint8_t, 4>>(octet), &IpGenAddr::ipv4),
      rc::gen::map(rc::gen::container<std::array<std::uint8_t, 16>>(octet), &IpGenAddr::ipv6));
}

template <class Key>
void isReadBack(const Key& key, const Key& other) {
  const auto text = [](const Key& of) {
    std::ostringstream out;
    out << of;
    return out.str();
  };
  const std::string written = text(key);
  for (const char c : written) {
    RC_ASSERT((c > ' ' && c < '\x7f'));
  }
  const auto fields = Qiv::readFields(written);
  RC_ASSERT(fields.has_value());
  Key read;
  readFields(*fields, read);
  RC_ASSERT(read == key);
  RC_ASSERT(read.hash(1) == key.hash(1));
  RC_ASSERT((text(other) == written) == (other == key));
}

RC_GTEST_PROP(TextFormProperty, AHostNameVrfKeyIsReadBack, ()) {
  const auto key = [] { return HostNameVrfKey(*octets(), (*octets()).substr(0, kMaxVrfName)); };
  isReadBack(key(), key());
}

RC_GTEST_PROP(TextFormProperty, AnIcmpStatsKeyIsReadBack, ()) {
  const auto key = [] { return IcmpStatsKey{*octets(), *address()}; };
  isReadBack(key(), key());
}

RC_GTEST_PROP(TextFormProperty, AnHttpStatsKeyIsReadBack, ()) {
  const auto key = [] { return HttpStatsKey{*octets(), *octets()}; };
  isReadBack(key(), key());
}

RC_GTEST_PROP(TextFormProperty, ATcpStatsKeyIsReadBack, ()) {
  const auto key = [] {
    return TcpStatsKey{*octets(), *rc::gen::arbitrary<std::uint16_t>(), *address()};
  };
  isReadBack(key(), key());
}

RC_GTEST_PROP(TextFormProperty, FieldsAreReadBack, ()) {
  auto fields = *rc::gen::nonEmpty(rc::gen::container<std::vector<std::string>>(octets()));
  std::ostringstream out;
  for (std::size_t at = 0; at < fields.size(); ++at) {
    Qiv::writeField(out, fields[at], at == 0);
  }
  RC_ASSERT(Qiv::readFields(out.str()) == fields);
}

RC_GTEST_PROP(TextFormProperty, AnyTextIsEitherRefusedOrWrittenBackAsTheSameFields, ()) {
  const std::string text = *octets();
  if (const auto fields = Qiv::readFields(text)) {
    std::ostringstream out;
    for (std::size_t at = 0; at < fields->size(); ++at) {
      Qiv::writeField(out, (*fields)[at], at == 0);
    }
    RC_ASSERT(Qiv::readFields(out.str()) == fields);
  }
}

RC_GTEST_PROP(TextFormProperty, AQuotedNameIsReadBackAndIsOneComponentOfAPath, ()) {
  const std::string name = *rc::gen::nonEmpty(octets());
  const std::string quoted = Qiv::quoteUrl(name, &Qiv::reservedInName);
  RC_ASSERT(Qiv::unquoteUrl(quoted) == name);
  const auto root = Qiv::make<Qiv::Dir>("root");
  const auto dir = dirAt(root, quoted + '/' + quoted);
  RC_ASSERT(dir != nullptr);
  RC_ASSERT(dir->name().view() == name);
  RC_ASSERT(root->entityPtr().size() == 1U);
  RC_ASSERT(entityAt(*root, quoted + '/' + quoted) == dir);
}

}  // namespace
}  // namespace Properties
