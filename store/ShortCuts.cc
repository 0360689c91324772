// ShortCuts.cc holds the switch and the counts of each context.
#include "store/ShortCuts.h"

#include "platform/ProcessContext.h"

namespace accountsettings {

namespace {
struct State {
  bool taken = true;
  SettingsWork work;
};
const ProcessContext::Slot<State> stateSlot;
}  // namespace

bool shortCutsAreTaken() {
  return ProcessContext::current().state(stateSlot).taken;
}

void takeShortCuts(bool taken) {
  ProcessContext::current().state(stateSlot).taken = taken;
}

SettingsWork& settingsWork() {
  return ProcessContext::current().state(stateSlot).work;
}

}  // namespace accountsettings
