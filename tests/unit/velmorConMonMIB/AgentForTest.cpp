#include "AgentForTest.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>

// Exported by the agent library, though no header declares it: from a parsed PDU to an answered
// one, with nothing sent.
extern "C" int handle_pdu(netsnmp_agent_session* session);

namespace AgentForTest {

namespace {

struct FreeSession {
  void operator()(netsnmp_agent_session* session) const { free_agent_snmp_session(session); }
};

std::string wireOf(const netsnmp_variable_list& varbind) {
  std::array<u_char, 1024> packet{};
  std::size_t room = packet.size();
  std::vector<oid> name(varbind.name, varbind.name + varbind.name_length);
  std::size_t nameLength = name.size();
  u_char* end = snmp_build_var_op(packet.data(), name.data(), &nameLength, varbind.type,
                                  varbind.val_len, varbind.val.string, &room);
  if (end == nullptr) {
    return "cannot be encoded";
  }
  // The value follows the name; parse the varbind to find where.
  std::array<oid, MAX_OID_LEN> parsedName{};
  std::size_t parsedLength = parsedName.size();
  std::size_t left = static_cast<std::size_t>(end - packet.data());
  u_char type = 0;
  std::size_t valueLength = 0;
  u_char* value = nullptr;
  snmp_parse_var_op(packet.data(), parsedName.data(), &parsedLength, &type, &valueLength, &value,
                    &left);
  return std::string(value, end);
}

Varbind varbindOf(const netsnmp_variable_list& from) {
  Varbind varbind;
  varbind.name.assign(from.name, from.name + from.name_length);
  varbind.type = from.type;
  if (from.type == ASN_OCTET_STR) {
    varbind.octets.assign(from.val.string, from.val.string + from.val_len);
  } else if (from.type == ASN_INTEGER) {
    varbind.number = *from.val.integer;
  }
  if (from.type == ASN_OCTET_STR || from.type == ASN_INTEGER) {
    varbind.wire = wireOf(from);
  }
  return varbind;
}

netsnmp_pdu* makePdu(int command, std::string_view context, const std::vector<Oid>& names) {
  netsnmp_pdu* pdu = snmp_pdu_create(command);
  pdu->version = SNMP_VERSION_2c;
  pdu->flags |= UCD_MSG_FLAG_ALWAYS_IN_VIEW;
  pdu->contextName = strdup(std::string(context).c_str());
  pdu->contextNameLen = context.size();
  for (const Oid& name : names) {
    snmp_add_null_var(pdu, name.data(), name.size());
  }
  return pdu;
}

/// Consumes the PDU.
Response answer(netsnmp_pdu* pdu) {
  netsnmp_session transportless{};
  const std::unique_ptr<netsnmp_agent_session, FreeSession> session(
      init_agent_snmp_session(&transportless, pdu));
  snmp_free_pdu(pdu);
  const int status = handle_pdu(session.get());
  Response response;
  response.status = session->status != 0 ? session->status : status;
  response.index = static_cast<int>(session->index);
  for (const auto* varbind = session->pdu->variables; varbind != nullptr;
       varbind = varbind->next_variable) {
    response.varbinds.push_back(varbindOf(*varbind));
  }
  return response;
}

}  // namespace

Oid operator/(Oid base, oid subId) {
  base.push_back(subId);
  return base;
}

Oid operator/(Oid base, std::string_view index) {
  base.push_back(index.size());
  for (const char octet : index) {
    base.push_back(static_cast<unsigned char>(octet));
  }
  return base;
}

Agent::Agent() {
  snmp_disable_log();
  netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 0);  // Master.
  init_agent("conmon-unit-test");
}

const Agent& Agent::instance() {
  static const auto* const agent = new Agent;
  return *agent;
}

Response Agent::get(std::string_view context, const std::vector<Oid>& names) const {
  return answer(makePdu(SNMP_MSG_GET, context, names));
}

Response Agent::getNext(std::string_view context, const std::vector<Oid>& names) const {
  return answer(makePdu(SNMP_MSG_GETNEXT, context, names));
}

Response Agent::getBulk(std::string_view context, const std::vector<Oid>& names,
                        int repetitions) const {
  netsnmp_pdu* pdu = makePdu(SNMP_MSG_GETBULK, context, names);
  pdu->non_repeaters = 0;
  pdu->max_repetitions = repetitions;
  return answer(pdu);
}

Response Agent::set(std::string_view context, const std::vector<Oid>& names) const {
  netsnmp_pdu* pdu = makePdu(SNMP_MSG_SET, context, {});
  const long one = 1;
  for (const Oid& name : names) {
    snmp_pdu_add_variable(pdu, name.data(), name.size(), ASN_INTEGER, &one, sizeof one);
  }
  return answer(pdu);
}

Varbind Agent::getOne(std::string_view context, const Oid& name) const {
  return get(context, std::vector<Oid>{name}).varbinds.at(0);
}

Varbind Agent::next(std::string_view context, const Oid& name) const {
  return getNext(context, std::vector<Oid>{name}).varbinds.at(0);
}

std::vector<Varbind> Agent::walk(std::string_view context, const Oid& root) const {
  std::vector<Varbind> all;
  for (Oid at = root;;) {
    const Varbind found = next(context, at);
    const bool below = found.name.size() > root.size() &&
                       std::equal(root.begin(), root.end(), found.name.begin()) && found.name > at;
    if (found.type == SNMP_ENDOFMIBVIEW || found.type == ASN_NULL || !below) {
      return all;
    }
    all.push_back(found);
    at = found.name;
  }
}

netsnmp_handler_registration* Agent::registration(std::string_view context, const Oid& name) const {
  const std::string contextName(context);
  const netsnmp_subtree* tree =
      netsnmp_subtree_find(name.data(), name.size(), nullptr, contextName.c_str());
  const bool exact = tree != nullptr && tree->reginfo != nullptr &&
                     Oid(tree->name_a, tree->name_a + tree->namelen) == name;
  return exact ? tree->reginfo : nullptr;
}

}  // namespace AgentForTest
