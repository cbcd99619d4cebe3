#include "ConnectivityMonitor/Keys.h"

#include <charconv>
#include <ostream>
#include <stdexcept>

#include "Qiv/Errors.h"
#include "Qiv/FieldText.h"

namespace ConnectivityMonitor {

namespace {

void expectFields(std::span<const std::string> fields, std::size_t count) {
  if (fields.size() != count) {
    throw std::invalid_argument("wrong number of fields");
  }
}

Lintu::IpGenAddr readAddress(const std::string& field) {
  if (field.empty()) {
    return {};
  }
  const auto addr = Lintu::IpGenAddr::parse(field);
  if (!addr) {
    throw std::invalid_argument("ipAddr: not an IPv4 or IPv6 address");
  }
  return *addr;
}

}  // namespace

HostNameVrfKey::HostNameVrfKey(Pomel::String hostName, Pomel::String vrfName)
    : hostName_(std::move(hostName)), vrfName_(std::move(vrfName)) {
  if (vrfName_.size() > kMaxVrfName) {
    Qiv::throwStringTooLong();
  }
}

std::ostream& operator<<(std::ostream& out, const HostNameVrfKey& key) {
  Qiv::writeField(out, key.hostName(), true);
  Qiv::writeField(out, key.vrfName());
  return out;
}

std::ostream& operator<<(std::ostream& out, const IcmpStatsKey& key) {
  Qiv::writeField(out, key.intfName, true);
  Qiv::writeField(out, key.ipAddr.stringValue());
  return out;
}

std::ostream& operator<<(std::ostream& out, const HttpStatsKey& key) {
  Qiv::writeField(out, key.intfName, true);
  Qiv::writeField(out, key.url);
  return out;
}

std::ostream& operator<<(std::ostream& out, const TcpStatsKey& key) {
  Qiv::writeField(out, key.intfName, true);
  Qiv::writeField(out, std::to_string(key.port));
  Qiv::writeField(out, key.ipAddr.stringValue());
  return out;
}

void readFields(std::span<const std::string> fields, HostNameVrfKey& key) {
  expectFields(fields, 2);
  key = HostNameVrfKey(fields[0], fields[1]);
}

void readFields(std::span<const std::string> fields, IcmpStatsKey& key) {
  expectFields(fields, 2);
  key = {.intfName = fields[0], .ipAddr = readAddress(fields[1])};
}

void readFields(std::span<const std::string> fields, HttpStatsKey& key) {
  expectFields(fields, 2);
  key = {.intfName = fields[0], .url = fields[1]};
}

void readFields(std::span<const std::string> fields, TcpStatsKey& key) {
  expectFields(fields, 3);
  std::uint16_t port = 0;
  const std::string& text = fields[1];
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (error != std::errc() || end != text.data() + text.size()) {
    throw std::invalid_argument("port: not a number from 0 to 65535");
  }
  key = {.intfName = fields[0], .port = port, .ipAddr = readAddress(fields[2])};
}

}  // namespace ConnectivityMonitor
