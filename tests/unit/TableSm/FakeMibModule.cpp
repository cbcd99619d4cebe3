#include "FakeMibModule.h"

#include "ConnectivityMonitorSnmp/velmorConMonMIB.h"

std::vector<std::string>& FakeMibModule::calls() {
  static std::vector<std::string> all;
  return all;
}

void init_velmorConMonMIB(Pomel::String context) {
  FakeMibModule::calls().push_back("init " + context.stdString());
}

void unregister_velmorConMonMIB(Pomel::String context) {
  FakeMibModule::calls().push_back("unregister " + context.stdString());
}
