// Texts as statements over a small table: planned and run, by rows and by batches, which must
// agree. A second is the most that a statement may take.
#include <cctype>
#include <new>
#include <stdexcept>

#include "Answer.h"

namespace {

constexpr const char* kRows =
    "i,n,x,s,day,at,yes\n"
    "1,1.5,2.5e0,abc,2012-01-31,2012-01-31 10:30:00,true\n"
    ",-2.25,,\"a,b\",,1969-12-31 23:59:59.5,false\n"
    "-2147483648,99999999999999.99,1e308,,2012-02-29,,\n"
    "7,,-0.5e0,12,0001-01-01,2012-02-29 00:00:00,true\n";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace sqxer;
  static const fuzz::MemoryFile table(kRows);
  const std::string sql(reinterpret_cast<const char*>(data), size);
  // Sequences of any length, and files of this machine, say nothing of the engine.
  std::string upper = sql;
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  for (const char* const word : {"GENERATE_SERIES", "'/", "\"/", "'-'", "\"-\"", "./"}) {
    if (upper.find(word) != upper.npos) return 0;
  }
  std::string answers[2];
  for (const bool byBatches : {false, true}) {
    Session session;
    session.RefuseStandardInput();
    session.AddTable("t", table.GetPath());
    session.Set("Evaluation", byBatches ? "batches" : "rows");
    session.Set("StatementTimeout", "1000");
    session.Set("Now", "2012-02-29 12:34:56");
    try {
      for (const Statement& statement : SplitStatements(sql)) {
        answers[byBatches] += fuzz::Answer(session, statement.sql);
        // What a statement says of another way to evaluate is not to be compared.
        session.Set("Evaluation", byBatches ? "batches" : "rows");
      }
    } catch (const std::bad_alloc&) {
      return 0;
    } catch (const std::length_error&) {
      return 0;
    }
  }
  const bool isOfTime =
      answers[0].find("57173") != sql.npos || answers[1].find("57173") != sql.npos;
  const bool isOfPlan = upper.find("EXPLAIN") != sql.npos || upper.find("EVALUATION") != sql.npos;
  if (!isOfTime && !isOfPlan) fuzz::ExpectEqual(answers[1], answers[0], "batches");
  return 0;
}
