// One period of the five-second timer, apart from its clock.
#pragma once

/// Compares the channels' request and notice counters with those of the last period and calls the registered callback
/// when neither moved.
void kxtool_silence_check();
