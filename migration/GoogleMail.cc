// Asks the device, once for a process, how this region calls the service of Gmail accounts.
#include "migration/GoogleMail.h"

#include <mutex>

#include "platform/ProcessContext.h"

namespace accountsettings {
namespace {

struct GoogleMailState {
  std::once_flag asked;
  bool useGoogleMail = false;
};
const ProcessContext::Slot<GoogleMailState> googleMailSlot;

}  // namespace

bool _UseGoogleMail() {  // NOLINT(bugprone-reserved-identifier)
  ProcessContext& context = ProcessContext::current();
  GoogleMailState& state = context.state(googleMailSlot);
  std::call_once(state.asked, [&] {
    const auto answer =
        context.platform().deviceAnswers.copyDeviceAnswer("RegionalBehaviorGoogleMail");
    state.useGoogleMail = answer && answer->booleanValue();
  });
  return state.useGoogleMail;
}

}  // namespace accountsettings
