#include "kelv/engine/engine_loader.h"

namespace kelv {

void loadEngine() {}

}  // namespace kelv
