#pragma once

#include "Pomel/String.h"
#include "Snmp/Config.h"

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>

// The functions of the three tables under their own names, in net-snmp's signatures; the names are
// what an agent's operator meets in traces, debuggers and profiles. Each only forwards to what is
// written once for all tables.

void initialize_table_velmorIcmpProbeTable(Snmp::Config::PtrConst config, Pomel::String context);
int velmorIcmpProbeTable_handler(netsnmp_mib_handler* handler,
                                 netsnmp_handler_registration* registration,
                                 netsnmp_agent_request_info* info, netsnmp_request_info* requests);
netsnmp_variable_list* velmorIcmpProbeTable_get_first_data_point(void** loopContext,
                                                                 void** dataContext,
                                                                 netsnmp_variable_list* index,
                                                                 netsnmp_iterator_info* info);
netsnmp_variable_list* velmorIcmpProbeTable_get_next_data_point(void** loopContext,
                                                                void** dataContext,
                                                                netsnmp_variable_list* index,
                                                                netsnmp_iterator_info* info);
netsnmp_variable_list* velmorIcmpProbeTableIterationHelper(const void* loopContext,
                                                           netsnmp_variable_list* index);
void* velmorIcmpProbeTable_make_data_context(void* loopContext, netsnmp_iterator_info* info);
void velmorIcmpProbeTable_free_data_context(void* dataContext, netsnmp_iterator_info* info);
void velmorIcmpProbeTable_free_loop_context_at_end(void* loopContext, netsnmp_iterator_info* info);

void initialize_table_velmorHttpProbeTable(Snmp::Config::PtrConst config, Pomel::String context);
int velmorHttpProbeTable_handler(netsnmp_mib_handler* handler,
                                 netsnmp_handler_registration* registration,
                                 netsnmp_agent_request_info* info, netsnmp_request_info* requests);
netsnmp_variable_list* velmorHttpProbeTable_get_first_data_point(void** loopContext,
                                                                 void** dataContext,
                                                                 netsnmp_variable_list* index,
                                                                 netsnmp_iterator_info* info);
netsnmp_variable_list* velmorHttpProbeTable_get_next_data_point(void** loopContext,
                                                                void** dataContext,
                                                                netsnmp_variable_list* index,
                                                                netsnmp_iterator_info* info);
netsnmp_variable_list* velmorHttpProbeTableIterationHelper(const void* loopContext,
                                                           netsnmp_variable_list* index);
void* velmorHttpProbeTable_make_data_context(void* loopContext, netsnmp_iterator_info* info);
void velmorHttpProbeTable_free_data_context(void* dataContext, netsnmp_iterator_info* info);
void velmorHttpProbeTable_free_loop_context_at_end(void* loopContext, netsnmp_iterator_info* info);

void initialize_table_velmorTcpProbeTable(Snmp::Config::PtrConst config, Pomel::String context);
int velmorTcpProbeTable_handler(netsnmp_mib_handler* handler,
                                netsnmp_handler_registration* registration,
                                netsnmp_agent_request_info* info, netsnmp_request_info* requests);
netsnmp_variable_list* velmorTcpProbeTable_get_first_data_point(void** loopContext,
                                                                void** dataContext,
                                                                netsnmp_variable_list* index,
                                                                netsnmp_iterator_info* info);
netsnmp_variable_list* velmorTcpProbeTable_get_next_data_point(void** loopContext,
                                                               void** dataContext,
                                                               netsnmp_variable_list* index,
                                                               netsnmp_iterator_info* info);
netsnmp_variable_list* velmorTcpProbeTableIterationHelper(const void* loopContext,
                                                          netsnmp_variable_list* index);
void* velmorTcpProbeTable_make_data_context(void* loopContext, netsnmp_iterator_info* info);
void velmorTcpProbeTable_free_data_context(void* dataContext, netsnmp_iterator_info* info);
void velmorTcpProbeTable_free_loop_context_at_end(void* loopContext, netsnmp_iterator_info* info);
