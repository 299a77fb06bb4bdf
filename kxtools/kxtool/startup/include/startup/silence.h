// The five-second timer: tells a command that the card has fallen silent.
#pragma once

/// Runs on the timer's thread.
using kxtool_silence_cb = void (*)(void* argument);

/// Registers what to call when neither a request was sent nor a notice came within one period of five seconds; null
/// takes the registration back. `argument` must outlive the process's command.
void kxtool_regiser_silence_cb(kxtool_silence_cb callback, void* argument);

/// Starts the timer thread. Returns 0, or -1 with a message.
int kxtool_create_timer_5s();
