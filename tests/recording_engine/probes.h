// An engine that misbehaves: it tries to leave the limits that kelv put on the process.
#pragma once

namespace recording {

// Tries what the lines of the file named by KELV_PROBES ask for, and writes each result into the record as a call "probe" with
// the line and either "ok" or the name of the error. Lines: "read PATH", "list PATH", "write PATH", "make PATH", "remove PATH",
// "rename PATH TO", "link PATH TO", "execute PATH", "connect PORT", "connect-unix PATH", "socket", "thread-read PATH" (from a
// thread of its own), "old-thread-read PATH" (from a thread that has been running since the library was loaded).
void probeConfinement();

}  // namespace recording
