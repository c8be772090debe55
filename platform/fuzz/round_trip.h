// What holds for every list that a reader accepts.
#pragma once

#include "platform/linux/property_list_forms.h"

namespace platform {

// Aborts where an accepted list that can be written is not read back to the same text.
void roundTrip(const Result<PropertyList>& list);

}  // namespace platform
