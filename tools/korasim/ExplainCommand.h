// korasim explain LOG: reads a device log (logcat text) and tells, per capture, the plugin's
// decision with its reason and values, the request's path, and what the log could not show.
#pragma once

namespace korasim {

// Exit status: 0 read (also when the log holds no plugin line), 2 unreadable file or bad
// arguments, 1 an output file that cannot be written.
int explainCommand(int argc, char** argv);

}  // namespace korasim
