#include "ConnectivityMonitorSnmp/velmorConMonMIBTables.h"

#include "ConnectivityMonitorSnmp/velmorConMonMIBHandlers.h"
#include "ConnectivityMonitorSnmp/velmorConMonMIBIteration.h"
#include "ConnectivityMonitorSnmp/velmorConMonMIBRegistration.h"

namespace MibModule = ConnectivityMonitorSnmp::MibModule;

// velmorIcmpProbeTable

void initialize_table_velmorIcmpProbeTable(Snmp::Config::PtrConst /*config*/,
                                           Pomel::String context) {
  MibModule::initializeTable(
      MibModule::kLayout<MibModule::IcmpTable>,
      {.handler = velmorIcmpProbeTable_handler,
       .getFirstDataPoint = velmorIcmpProbeTable_get_first_data_point,
       .getNextDataPoint = velmorIcmpProbeTable_get_next_data_point,
       .makeDataContext = velmorIcmpProbeTable_make_data_context,
       .freeDataContext = velmorIcmpProbeTable_free_data_context,
       .freeLoopContextAtEnd = velmorIcmpProbeTable_free_loop_context_at_end},
      context);
}

int velmorIcmpProbeTable_handler(netsnmp_mib_handler* /*handler*/,
                                 netsnmp_handler_registration* /*registration*/,
                                 netsnmp_agent_request_info* info, netsnmp_request_info* requests) {
  return MibModule::handle<MibModule::IcmpTable>(*info, requests);
}

netsnmp_variable_list* velmorIcmpProbeTable_get_first_data_point(void** loopContext,
                                                                 void** /*dataContext*/,
                                                                 netsnmp_variable_list* index,
                                                                 netsnmp_iterator_info* info) {
  MibModule::beginWalk<MibModule::IcmpTable>(loopContext, *info);
  return velmorIcmpProbeTableIterationHelper(*loopContext, index);
}

netsnmp_variable_list* velmorIcmpProbeTable_get_next_data_point(void** loopContext,
                                                                void** dataContext,
                                                                netsnmp_variable_list* index,
                                                                netsnmp_iterator_info* info) {
  return MibModule::continueWalk<MibModule::IcmpTable>(*loopContext, *dataContext, *info)
             ? velmorIcmpProbeTableIterationHelper(*loopContext, index)
             : nullptr;
}

netsnmp_variable_list* velmorIcmpProbeTableIterationHelper(const void* loopContext,
                                                           netsnmp_variable_list* index) {
  return MibModule::fillIndex<MibModule::IcmpTable>(loopContext, index);
}

void* velmorIcmpProbeTable_make_data_context(void* loopContext, netsnmp_iterator_info* /*info*/) {
  return MibModule::makeDataContext<MibModule::IcmpTable>(loopContext);
}

void velmorIcmpProbeTable_free_data_context(void* dataContext, netsnmp_iterator_info* /*info*/) {
  MibModule::freeDataContext<MibModule::IcmpTable>(dataContext);
}

void velmorIcmpProbeTable_free_loop_context_at_end(void* loopContext,
                                                   netsnmp_iterator_info* /*info*/) {
  MibModule::freeLoopContextAtEnd<MibModule::IcmpTable>(loopContext);
}

// velmorHttpProbeTable

void initialize_table_velmorHttpProbeTable(Snmp::Config::PtrConst /*config*/,
                                           Pomel::String context) {
  MibModule::initializeTable(
      MibModule::kLayout<MibModule::HttpTable>,
      {.handler = velmorHttpProbeTable_handler,
       .getFirstDataPoint = velmorHttpProbeTable_get_first_data_point,
       .getNextDataPoint = velmorHttpProbeTable_get_next_data_point,
       .makeDataContext = velmorHttpProbeTable_make_data_context,
       .freeDataContext = velmorHttpProbeTable_free_data_context,
       .freeLoopContextAtEnd = velmorHttpProbeTable_free_loop_context_at_end},
      context);
}

int velmorHttpProbeTable_handler(netsnmp_mib_handler* /*handler*/,
                                 netsnmp_handler_registration* /*registration*/,
                                 netsnmp_agent_request_info* info, netsnmp_request_info* requests) {
  return MibModule::handle<MibModule::HttpTable>(*info, requests);
}

netsnmp_variable_list* velmorHttpProbeTable_get_first_data_point(void** loopContext,
                                                                 void** /*dataContext*/,
                                                                 netsnmp_variable_list* index,
                                                                 netsnmp_iterator_info* info) {
  MibModule::beginWalk<MibModule::HttpTable>(loopContext, *info);
  return velmorHttpProbeTableIterationHelper(*loopContext, index);
}

netsnmp_variable_list* velmorHttpProbeTable_get_next_data_point(void** loopContext,
                                                                void** dataContext,
                                                                netsnmp_variable_list* index,
                                                                netsnmp_iterator_info* info) {
  return MibModule::continueWalk<MibModule::HttpTable>(*loopContext, *dataContext, *info)
             ? velmorHttpProbeTableIterationHelper(*loopContext, index)
             : nullptr;
}

netsnmp_variable_list* velmorHttpProbeTableIterationHelper(const void* loopContext,
                                                           netsnmp_variable_list* index) {
  return MibModule::fillIndex<MibModule::HttpTable>(loopContext, index);
}

void* velmorHttpProbeTable_make_data_context(void* loopContext, netsnmp_iterator_info* /*info*/) {
  return MibModule::makeDataContext<MibModule::HttpTable>(loopContext);
}

void velmorHttpProbeTable_free_data_context(void* dataContext, netsnmp_iterator_info* /*info*/) {
  MibModule::freeDataContext<MibModule::HttpTable>(dataContext);
}

void velmorHttpProbeTable_free_loop_context_at_end(void* loopContext,
                                                   netsnmp_iterator_info* /*info*/) {
  MibModule::freeLoopContextAtEnd<MibModule::HttpTable>(loopContext);
}

// velmorTcpProbeTable

void initialize_table_velmorTcpProbeTable(Snmp::Config::PtrConst /*config*/,
                                          Pomel::String context) {
  MibModule::initializeTable(MibModule::kLayout<MibModule::TcpTable>,
                             {.handler = velmorTcpProbeTable_handler,
                              .getFirstDataPoint = velmorTcpProbeTable_get_first_data_point,
                              .getNextDataPoint = velmorTcpProbeTable_get_next_data_point,
                              .makeDataContext = velmorTcpProbeTable_make_data_context,
                              .freeDataContext = velmorTcpProbeTable_free_data_context,
                              .freeLoopContextAtEnd = velmorTcpProbeTable_free_loop_context_at_end},
                             context);
}

int velmorTcpProbeTable_handler(netsnmp_mib_handler* /*handler*/,
                                netsnmp_handler_registration* /*registration*/,
                                netsnmp_agent_request_info* info, netsnmp_request_info* requests) {
  return MibModule::handle<MibModule::TcpTable>(*info, requests);
}

netsnmp_variable_list* velmorTcpProbeTable_get_first_data_point(void** loopContext,
                                                                void** /*dataContext*/,
                                                                netsnmp_variable_list* index,
                                                                netsnmp_iterator_info* info) {
  MibModule::beginWalk<MibModule::TcpTable>(loopContext, *info);
  return velmorTcpProbeTableIterationHelper(*loopContext, index);
}

netsnmp_variable_list* velmorTcpProbeTable_get_next_data_point(void** loopContext,
                                                               void** dataContext,
                                                               netsnmp_variable_list* index,
                                                               netsnmp_iterator_info* info) {
  return MibModule::continueWalk<MibModule::TcpTable>(*loopContext, *dataContext, *info)
             ? velmorTcpProbeTableIterationHelper(*loopContext, index)
             : nullptr;
}

netsnmp_variable_list* velmorTcpProbeTableIterationHelper(const void* loopContext,
                                                          netsnmp_variable_list* index) {
  return MibModule::fillIndex<MibModule::TcpTable>(loopContext, index);
}

void* velmorTcpProbeTable_make_data_context(void* loopContext, netsnmp_iterator_info* /*info*/) {
  return MibModule::makeDataContext<MibModule::TcpTable>(loopContext);
}

void velmorTcpProbeTable_free_data_context(void* dataContext, netsnmp_iterator_info* /*info*/) {
  MibModule::freeDataContext<MibModule::TcpTable>(dataContext);
}

void velmorTcpProbeTable_free_loop_context_at_end(void* loopContext,
                                                  netsnmp_iterator_info* /*info*/) {
  MibModule::freeLoopContextAtEnd<MibModule::TcpTable>(loopContext);
}
