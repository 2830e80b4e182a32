#include "ErrorCatalogue.h"

namespace sqxer {

std::vector<ErrorCatalogueEntry> ErrorCatalogueExpressions() {
  return {
      {46030, 2, "field position {0} is outside the record layout, whose number of fields is {1}"},

      {59001, 2, "\"{0}\" cannot take {1}: cast the operands to types that it takes"},
      {59002, 2, "\"{0}\" does not support {1}: cast to, or use, a type that it supports"},
      {59003, 1, "no expression can read values of this type, store them as another one: {0}"},
      {59005, 1,
       "\"{0}\" has no part of this number: Calendar_Extract has 0 to 15, Fiscal_Extract 16 to 31"},
      {59006, 0, "TRIM has no such style: use 0 for both ends, 1 for the start, 2 for the end"},
      {59007, 2, "\"{1}\" cannot return this number of characters or tokens: {0}"},
      {59008, 0, "division by zero: leave out the rows whose divisor is 0, or make it NULL there"},
      {59009, 1, "the square root needs a number that is not negative: {0}"},
      {59010, 1, "\"{0}\" is not defined for this argument: leave out the rows that have it"},
      {59013, 2, "\"{0}\" cannot hold this value of type {1}, cast to a wider type"},
      {59014, 0, "an expression names a column position beyond the last column of its input"},
      {59015, 1, "there is no column of this name: \"{0}\""},
      {59020, 0, "the results of CASE or COALESCE have no common type: cast them to one type"},
      {59021, 0,
       "the values that CASE, IFNULL or NULLIF compares have no common type: cast them to one "
       "type"},
      {59022, 1, "CASE cannot look up a value of this type, which has no equality: {0}"},
      {59023, 0, "the branches of CASE are incomplete: every WHEN needs one THEN"},
      {59025, 0,
       "LIKE needs an escape of exactly one character, and a character behind it in the pattern"},
      {59028, 0, "the size of a window, or the number of rows, tiles or bins, must be above 0"},
      {59029, 0, "TRIM takes one character at a time: give it a text of exactly one character"},
      {59030, 2, "a value of type {0} does not become one of type {1} by itself: cast it"},
      {59032, 0, "the value that CASE looks up is the NULL constant: test with IS NULL instead"},
      {59033, 0, "all results of CASE or COALESCE are NULL: cast one of them to the type you want"},
      {59034, 1,
       "the text would have more than {0} characters, which is all that there is room for"},
      {59035, 2, "\"{0}\" has no field, part or bound of this number: {1}"},
      {59036, 2, "the format of FORMAT goes wrong at character {1}: \"{0}\""},
      {59037, 0, "the bounds of buckets must be different numbers, and their number above 0"},
      {59038, 2, "this number has too many digits before the point for NUMERIC({0}, {1})"},

      {59050, 1,
       "an interval holds up to 2147483647 months, 2147483647 days and 2562047788 hours, beyond "
       "that lies: {0}"},
      {59051, 1, "DATE_BIN needs a positive width without months, and not this one: {0}"},
      {59052, 1, "a value of type INTERVAL has no such part: {0}"},

      {59149, 0,
       "there is no fit for this kind of trend line: use linear, exponential or polynomial"},
      {59150, 0, "the parameters of the trend line are incomplete: name a model and a result"},
      {59161, 2, "{0} overflowed: the result is beyond the limit {1}"},
      {59162, 2, "{0} fell below its range: the smallest value allowed is {1}"},
      {59163, 0, "two matrices of a trend line do not match in rows and columns"},
      {59164, 0,
       "the exponential trend line has no fit: its factors are beyond the range of DOUBLE"},
      {59165, 0, "the exponential trend line has no fit: every value must be above 0"},
      {59166, 1, "the degree of a polynomial trend line is 1 to 6, and not this one: {0}"},
      {59167, 0,
       "the polynomial trend line has no single fit: use a lower degree, more distinct positions "
       "or positions nearer 0"},
      {59168, 0, "the trend line has no fit: all its positions are equal"},
      {59169, 0, "the values refer to a trend line that this query does not compute"},

      {59170, 2, "the date format \"{0}\" has an unknown element at character {1}"},
      {59171, 1, "dates reach from the year -4713 to the year 9999, beyond that lies: {0}"},
      {59172, 2, "this text does not read as {1}: \"{0}\""},
      {59173, 1, "a record may take up to 4294967295 bytes, use shorter texts: {0}"},
      {59174, 1, "there is no collation for this locale, name one as ICU does (sv_SE): \"{0}\""},
      {59175, 2, "this is no regular expression, {1}: \"{0}\""},
      {59176, 1, "there is no such option of a regular expression here: \"{0}\""},
      {59060, 1, "in a format of numbers {0}"},
      {59061, 1, "this text has no number: \"{0}\""},
      {59062, 1,
       "an interval belongs to no day of the calendar, leave out of its format what tells of one: "
       "\"{0}\""},
      {59063, 1,
       "there is no such time zone, give one of the tz database (Europe/Berlin) or an interval "
       "below "
       "a day: \"{0}\""},
      {59180, 2, "sorting cannot write temporary files in \"{0}\": {1}"},
      {59185, 1, "a BIT holds only 0 or 1, and not this value: {0}"},
      {59190, 2,
       "a JSON path is $ and behind it any of .name, .\"a name\", ['a name'] and [0], this one "
       "goes "
       "wrong at character {1}: \"{0}\""},
      {59191, 1,
       "this text is no JSON document, correct it or take it as NULL with JsonErrors=null: "
       "\"{0}\""},
      {59192, 2, "a JSON value was seen to be {1} in all rows, and now is another: \"{0}\""},
  };
}

}  // namespace sqxer
