// The binding's error hook and its indicators.
#include "runtime/console.h"
#include "zab/binding_state.h"
#include "zab/zab_api.h"

namespace zab {

using detail::state;

bool zabGetScreenIndicator() { return state().screenIndicator; }
void zabSetScreenIndicator(bool v) { state().screenIndicator = v; }
bool zabGetExceptionIndicator() { return state().exceptionIndicator; }
void zabSetExceptionIndicator(bool v) { state().exceptionIndicator = v; }
bool zabGetExitIndicator() { return state().exitIndicator; }
void zabSetExitIndicator(bool v) { state().exitIndicator = v; }
int32_t zabGetErrorCount() { return state().apiErrorCount; }
void zabSetErrorCount(int32_t n) { state().apiErrorCount = n; }
ErrorCallback zabGetErrorCallBack() { return state().errorCallback; }

void zabSetErrorCallBack(ErrorCallback cb) {
  std::lock_guard<std::mutex> lock(state().exceptMutex);
  state().errorCallback = cb;
}

void zabErrorHandling(const rt::ShortStr& msg) {
  detail::BindingState& s = state();
  s.apiErrorCount++;
  if (s.screenIndicator) {
    rt::outLn(msg.view());
    rt::flushOut();
  }
  if (s.exceptionIndicator) rt::internalError(msg.view());
  {
    std::lock_guard<std::mutex> lock(s.exceptMutex);
    if (s.errorCallback && s.errorCallback(s.apiErrorCount, msg) != 0) rt::halt(123);
  }
  if (s.exitIndicator) rt::halt(123);
}

}  // namespace zab
