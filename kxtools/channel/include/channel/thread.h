// Helper threads of a maintenance command's process.
#pragma once

/// Runs `body(argument)` on a detached thread that takes no signals, so that an interrupt always reaches the command's
/// own thread. False when no thread can be made.
bool kxtool_thread_start(void (*body)(void* argument), void* argument);
