#pragma once

#include "Engine/Engine.h"
#include "Options.h"

namespace sqxer {

/// Runs the SQL that `options` name, or that of standard input, and writes the results. Throws
/// OutputError. Where a signal has come, of which Interruption tells, the status means nothing.
ExitStatus RunBatch(engine::Session& session, Options options);

}  // namespace sqxer
