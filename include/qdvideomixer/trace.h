#pragma once

// Named stages and events of the mixer as lines of text, for a host that wants to see them.

namespace qdvm {

// Receives one line: UTF-8, zero-terminated, without a line end, valid for the call only. Called on
// any thread, often on the frame path and with locks of the mixer held, so it must be quick and
// must not call into the mixer.
using TraceHook = void (*)(void* context, const char* line);

// Replaces the hook; null, as at the start, drops all lines. When the call returns, the former hook
// is not being called any more and won't be. Not to be called from a hook.
void SetTraceHook(TraceHook hook, void* context);

}  // namespace qdvm
