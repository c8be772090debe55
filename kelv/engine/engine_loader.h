// Brings the engine into the process.
#pragma once

namespace kelv {

// Loads libPdfOptimizeAPI, found by the program's RUNPATH or before that on LD_LIBRARY_PATH. Called before
// access to files is limited, which may put the library out of reach. An engine that cannot be loaded is a
// fatal error. Without effect where the program is linked with the engine.
void loadEngine();

}  // namespace kelv
