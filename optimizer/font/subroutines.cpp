#include "optimizer/font/subroutines.h"

namespace optimizer::font {

std::vector<Bytes> buildSubroutines(std::vector<Bytes>&) { return {}; }

}  // namespace optimizer::font
