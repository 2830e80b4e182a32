#pragma once

/// Where blocks of memory are taken, and where the call that fails comes from, once Trace was
/// called. Called by the functions that fail: nothing here takes memory.
namespace sqxer::faults::trace {

void NoteTaken(void* block);
void NoteGiven(void* block);
void PrintCallers();

}  // namespace sqxer::faults::trace
