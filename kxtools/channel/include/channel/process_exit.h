// The one way in which a maintenance command's process ends.
#pragma once

/// Flushes standard output and standard error and ends the process at once with `status`, or with 1 instead of 0 when
/// something that was printed is lost. Neither the shell's input, whose buffer this process inherited at the fork, nor
/// what a running receive thread uses is touched: no exit handlers and no static destructors run.
[[noreturn]] void kxtool_process_exit(int status);

/// What a command still wants to say when its process is ended from elsewhere; called once, with the status, on the
/// thread that ends the process. Returns the status to end with. Null takes it back.
using kxtool_exit_hook = int (*)(int status);
void kxtool_process_exit_hook_set(kxtool_exit_hook hook);
