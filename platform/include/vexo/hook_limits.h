#pragma once

/// Limits on the hooks that this process runs, beside the 30 s that each one has. They hold for
/// BaseHook, for plug-in actions and for the change hooks alike, on whatever thread those run.
/// Weak, as not every platform has them: null where hooks run without such limits.

#ifdef __cplusplus
extern "C" {
#endif

/// Begins a request on this thread: all hooks that the thread runs until the request's end have
/// `milliseconds` together. The one that runs then is killed with its process group, further ones
/// are left out with a log line. Within a request another one begins nothing.
void VEXOHookRequestBegin(int milliseconds) __attribute__((weak));

/// Ends what VEXOHookRequestBegin has begun on this thread.
void VEXOHookRequestEnd(void) __attribute__((weak));

/// Has somebody told, every `milliseconds`, that a thread waits for a hook of a request and that
/// the request's time is not over. Null ends that.
/// @param progress  called on the waiting thread, on several at once; must not wait
void VEXOHookWatch(void (*progress)(void), int milliseconds) __attribute__((weak));

/// Has the process end without waiting for hooks: those that run, on any thread, have
/// `milliseconds` more and are then killed with their process groups; from now on and for good
/// none is begun, with a log line for each event that is not told. May be called from any thread;
/// a second call changes nothing.
void VEXOHookStop(int milliseconds) __attribute__((weak));

#ifdef __cplusplus
}
#endif
