/// What happens when a person ends the tool: one source a system (interrupt_posix.cpp,
/// interrupt_windows.cpp).
#pragma once

namespace trqprep {

/// Blocks SIGINT, SIGTERM and SIGHUP (unless the tool was started with them ignored), ignores SIGPIPE and
/// SIGXFSZ, and starts the thread that waits for the former. When one arrives, every temporary path is
/// removed, `last_words` is called and the process ends with 130. The thread also draws progress.
/// On Windows Ctrl-C, Ctrl-Break and the end of the console or session are what arrives.
void WatchSignals(void (*last_words)());

}  // namespace trqprep
