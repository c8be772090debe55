#include "optimizer/base/large_stack.h"

#include <pthread.h>

#include <exception>
#include <new>
#include <string>

#include "optimizer/base/limits.h"

namespace optimizer {
namespace {

struct Call {
  const std::function<Status()>& work;
  Status status;
};

Status guarded(const std::function<Status()>& work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return Error{ErrorKind::limit, "Not enough memory"};
  } catch (const std::exception& caught) {
    return Error{ErrorKind::internal, std::string("Unexpected failure: ") + caught.what()};
  } catch (...) {
    return Error{ErrorKind::internal, "Unexpected failure"};
  }
}

void* runCall(void* argument) {
  Call& call = *static_cast<Call*>(argument);
  call.status = guarded(call.work);
  return nullptr;
}

}  // namespace

Status runOnLargeStack(const std::function<Status()>& work) {
  Call call{work, {}};
  pthread_attr_t attributes;
  pthread_t thread;
  if (pthread_attr_init(&attributes) != 0) return guarded(work);
  const bool started = pthread_attr_setstacksize(&attributes, limits::kStackBytes) == 0 &&
                       pthread_create(&thread, &attributes, runCall, &call) == 0;
  pthread_attr_destroy(&attributes);
  // Where the address space is too narrow for such a stack, the caller's own has to do.
  if (!started) return guarded(work);
  pthread_join(thread, nullptr);
  return call.status;
}

}  // namespace optimizer
