#include "ctl/commands/SnmpdConfText.h"

#include <fmt/format.h>

#include <algorithm>

#include "ctl/text/Printable.h"

namespace Ctl {

namespace {

constexpr std::string_view kObjects = ".1.3.6.1.4.1.61111.3.38";
constexpr std::string_view kDefaultVrf = "default";

/// A word as snmpd.conf(5) reads it; quotes and backslashes within quotes are escaped
/// (copy_nword() in net-snmp's read_config.c).
std::string word(std::string_view text) {
  if (!text.empty() && text.find_first_of(" \t\"'\\#") == std::string_view::npos) {
    return std::string(text);
  }
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
    }
    quoted += c;
  }
  return quoted += '"';
}

/// A line ends a setting, whatever quotes it is in.
bool fitsALine(std::string_view name) {
  return std::ranges::none_of(name, [](char c) { return c == '\n' || c == '\r' || c == '\0'; });
}

/// The default VRF is the default context.
std::string linesOf(const SnmpdConf& conf, std::string_view vrf) {
  const bool isDefault = vrf == kDefaultVrf;
  const std::string context = isDefault ? "" : fmt::format("-Cn {} ", word(vrf));
  const std::string community =
      word(isDefault ? conf.community : fmt::format("{}@{}", conf.community, vrf));
  std::string text = fmt::format("com2sec {}conmon {} {}\n", context, word(conf.source), community);
  if (conf.standalone) {
    text +=
        fmt::format("proxy {}-v2c -c {} {} {}\n", context, community, *conf.standalone, kObjects);
  }
  return text;
}

}  // namespace

std::string snmpdConfText(const SnmpdConf& conf, const std::vector<std::string>& vrfs) {
  std::string text =
      "# For snmpd.conf, made by conmonctl snmpd-conf of the VRFs that had records at the time.\n"
      "# Communities are secrets: keep the file to root and snmpd.\n";
  if (!conf.standalone) {
    text += "master agentx\n";
  }
  // The empty prefix is that of every context.
  text += fmt::format(
      "view conmon included {}\ngroup conmon v2c conmon\n"
      "access conmon \"\" v2c noauth prefix conmon none none\n",
      kObjects);
  for (const std::string& vrf : vrfs) {
    text += fmt::format("\n# VRF {}\n", printable(vrf));
    text += fitsALine(vrf) ? linesOf(conf, vrf)
                           : "# Its name has a line end, which snmpd.conf cannot express.\n";
  }
  text +=
      "\n# SNMPv3 users read every context. They are made elsewhere: see createUser in\n"
      "# snmpd.conf(5), or net-snmp-create-v3-user(1).\n";
  for (const std::string& user : conf.users) {
    text += fmt::format("rouser {} priv -V conmon *\n", word(user));
  }
  return text;
}

}  // namespace Ctl
