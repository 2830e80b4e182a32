#pragma once

#include <cstddef>
#include <string>

#include "Engine/Engine.h"
#include "Options.h"
#include "OutputStream.h"

namespace sqxer {

/// The error on standard error, as PrintError has it; one line where a signal has ended the
/// statement.
void PrintFailure(const engine::Error& error, const std::string& sql = {},
                  std::size_t statementOffset = 0);

/// Runs one statement of a text, the `number`-th from 1, and writes its result; standard error says
/// what is wrong. Throws what the output does.
ExitStatus RunStatement(engine::Session& session, const Options& options, const std::string& text,
                        const engine::Statement& statement, std::size_t number,
                        ResultWriter& output);

}  // namespace sqxer
