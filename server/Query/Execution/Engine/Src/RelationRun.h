#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Catalog.h"
#include "FlowRules.h"
#include "QueryParameters.h"
#include "ResultSink.h"
#include "SqlQuery.h"
#include "Table.h"
#include "TableJoin.h"

namespace sqxer {

class ErrorMessage;
class LazyTable;
class Session;
struct JoinLayout;

using TableRef = std::shared_ptr<const Table>;

/// Runs a statement of several queries: each SELECT goes over one table, and what stands in its
/// FROM is made one first. Queries of WITH and subqueries are run once, and their rows kept in
/// memory until the statement has ended.
class RelationRun final : public Catalog {
 public:
  /// All must outlive it.
  RelationRun(Session& session, const std::string& sql, const QueryParameters& parameters);
  ~RelationRun() override;

  /// Whether a query needs this: one that is not a single SELECT over at most one table of the
  /// session.
  static bool IsNeeded(const SqlQuery& query);

  void Run(const SqlQuery& query, ResultSink& sink, int repeat);
  /// The columns of a query's result, found without rows. Nothing where their types hang on rows,
  /// as those of values in JSON do.
  std::optional<std::vector<ColumnInfo>> FindColumns(const SqlQuery& query);
  // Of rows that are made while they are used: see RelationFlow.h.
  struct Flow;
  /// The rows of a query that does no more than choose and compute, row by row. Without a table for
  /// any other query, and where nothing can flow: then all rows are to be made.
  Flow Open(const SqlQuery& query, const FlowRules& rules);
  /// The rows of a query that chooses columns and rows of one table, without a copy where it
  /// chooses columns alone; of its columns those that are wanted. Without a table for any other
  /// query.
  Flow OpenChosen(const SqlQuery& query, const TableRequest& wanted, const FlowRules& rules);
  /// What EXPLAIN says. Subqueries and joins are run for that, since later steps read their types.
  std::vector<XeString> Describe(const SqlQuery& query);

  // The tables of the session, and those that the statement has made.
  const TableSchema* FindTable(const XeString& name, const TableRequest& request) override;
  void VisitTexts(const XeString& table, std::size_t column,
                  const std::function<void(std::wstring_view)>& visit) override;
  XeString FindTextReason(const XeString& table, std::size_t column) override;
  LookupSourcePtr FindLookup(const XeString& table) override;
  AddedFunctionPtr FindFunction(std::string_view name) override;
  /// The rows of a table that the statement has made; null for any other.
  TableRef FindMade(const XeString& name) const;
  /// The same to be read; `withRest`: with the rows that are made while they are used, once.
  std::shared_ptr<LazyTable> TakeMade(const XeString& name, bool withRest);
  /// How many rows came before those of the tables that are being read.
  uint64 GetRowsBefore() const { return rowsBefore_; }

 private:
  struct Common;
  /// The names of WITH that a query can use, later ones first to be looked at.
  using Scope = std::vector<std::shared_ptr<Common>>;
  struct Common {
    const SqlCommonTable* written;
    Scope visible;
    /// How many queries there are around WITH.
    std::size_t around = 0;
    /// How many times the statement names it.
    std::size_t reads = 0;
    TableRef rows;
    /// Its columns, found without rows.
    TableRef shape;
    /// Its rows have been asked for.
    bool isOpened = false;
  };
  using Conditions = std::vector<SqlExpressionPtr>;
  /// FROM as a tree of tables.
  struct Source;
  struct JoinSteps;
  class JoinFlow;
  class MapFlow;
  class SpilledJoin;
  using MakeRowsOf = std::function<TableRef(const TableRef& rows)>;
  // Of subqueries that read columns of a query around them: see RelationCorrelated.h.
  struct Base;
  struct Widened;
  struct GroupKeys;
  struct Outer;
  struct Members;
  /// A condition that a value is among those of a subquery.
  struct Membership {
    SqlExpressionPtr value;
    TableRef members;
  };

  // Queries.
  void RunQuery(const SqlQuery& query, ResultSink& sink, int repeat);
  TableRef MakeTable(const SqlQuery& query);
  /// The SELECT of a query over one table, its subqueries replaced by what they give.
  /// `around`: what may flow to who takes the rows. `isOpened`: also where it is a table of the
  /// session alone, that one becomes a table of the statement.
  SqlSelect Settle(const SqlQuery& query, const FlowRules& around, bool isOpened = false);
  void SettleUncorrelated(Base& base, const FlowRules& around);
  TableRef SelectFrom(const std::string& sql, const TableRef& table, SqlSelect select);
  /// The same of a statement's text, whose table is any name.
  TableRef SelectText(const std::string& sql, const TableRef& table);
  TableRef MakeOperation(const SqlQuery& query);
  TableRef Combine(const SqlQuery& query, const TableRef& left, const TableRef& right);
  /// A table with columns of these types, one below the other.
  TableRef Stack(const std::vector<TableRef>& tables, const std::vector<ColumnInfo>& columns);
  TableRef CastTo(const TableRef& table, const std::vector<ColumnInfo>& columns);
  static TableRef WithColumnNames(const Table& table, const std::vector<ColumnInfo>& columns);
  /// Each row as often as `count` says of the two counts in its columns from `firstCount` on.
  static std::vector<uint32> ChooseRows(
      const Table& counted, std::size_t firstCount,
      const std::function<uint64(uint64 left, uint64 right)>& count);
  TableRef MakeValues(const SqlQuery& query);

  // Subqueries in expressions.
  SqlExpressionPtr Replace(const SqlExpressionPtr& expression);
  /// `mayJoin`: it is a condition of WHERE, so that IN over many values may become a join.
  SqlExpressionPtr ReplaceSubquery(const SqlExpression& subquery, bool mayJoin);
  /// Runs what makes tables of a subquery. Error 58003 for a name that a query around has, where
  /// nothing can be done about it.
  template <class Make>
  auto WithinSubquery(Make&& make);
  /// Whether an error is about a name that a query around knows.
  bool IsKnownAround(const ErrorMessage& error);
  bool HasName(const SqlRelation& relation, const SqlExpression& name);

  // Which subqueries read columns of a query around them.
  using Names = std::vector<const SqlExpression*>;
  /// The columns that FROM has; of tables that were not read, without their types.
  TableSchema FindSchema(const SqlRelation& relation, const TableRequest& wanted);
  /// The names in a query that its own FROM does not know.
  void FindOuterNames(const SqlQuery& query, Names& names);
  void FindOuterNames(const SqlExpression& expression, const TableSchema& schema, Names& names);
  bool IsCorrelated(const SqlExpression& subquery, const TableSchema& schema);
  /// Notes the subqueries of an expression that read columns of the schema, or of a query further
  /// out.
  bool NoteCorrelated(const SqlExpression& expression, const TableSchema& schema);
  /// FROM without the conditions of inner joins that hold such subqueries or read columns from
  /// outside: these may as well stand in WHERE.
  SqlRelationPtr TakeConditions(const SqlRelationPtr& relation, const TableRequest& wanted,
                                Conditions& taken);
  Base StudyQuery(const SqlQuery& query);

  // What they give.
  void MakeBaseRows(Base& base);
  void ApplyLate(Base& base, bool areNeighboursAlone);
  void ReplaceIn(SqlSelect& select, Widened& wide);
  SqlExpressionPtr ReplaceCorrelated(const SqlExpressionPtr& expression, Widened& wide,
                                     GroupKeys* keys);
  SqlExpressionPtr MakeCorrelated(const SqlExpression& subquery, Widened& wide, GroupKeys* keys);
  /// The same of a condition of a join, whose subqueries read columns of one side each.
  SqlExpressionPtr ReplaceBySides(const SqlExpressionPtr& expression, Widened& left,
                                  Widened& right);
  /// Takes the subqueries out of the conditions of a join.
  void WidenSides(Conditions& conditions, const TableRequest& wanted, TableRef& left,
                  TableRef& right);
  /// The rows for which a condition with subqueries is true.
  void KeepRows(Widened& wide, const SqlExpressionPtr& condition);
  Outer MakeOuter(const SqlExpression& subquery, const Widened& wide, GroupKeys* keys);
  Members MakeMembers(const SqlExpression& subquery, Outer& outer);
  TableRef FindScalars(const SqlExpression& subquery, Outer& outer, std::vector<uint32>& rows);
  /// For each outer row 0, 1, or 2 for NULL.
  std::vector<int32> FindTruths(const SqlExpression& subquery, Outer& outer);
  /// Whether there are members of which the conditions are true.
  std::vector<uint8> MarkRows(const TableRef& outer, const TableRef& members,
                              Conditions conditions);
  /// Numbers the different rows of `outer`, which become its rows.
  void MakeDistinct(Outer& outer);
  /// What a query gives for each of the outer rows: its columns, and behind them the outer row.
  TableRef RunForEach(const SqlQuery& query, const Outer& outer);
  TableRef SelectForEach(Base& base, const Outer& outer);
  /// Adds the outer rows for which there are no rows, with NULLs, and marks all others.
  TableRef AddEmptyGroups(const TableRef& rows, const Outer& outer);
  TableRef KeepFirstRows(const TableRef& rows, const SqlSelect& limits);
  /// The rows of the table for which all conditions are true, of the columns wanted.
  TableRef KeepTrue(const TableRef& table, const TableRequest& wanted,
                    const Conditions& conditions);

  // FROM.
  /// `rules`: what may flow of its first rows.
  std::unique_ptr<Source> MakeSource(const SqlRelation& relation, const TableRequest& wanted,
                                     const FlowRules& rules);
  std::unique_ptr<Source> MakeSource(const SqlRelation& relation, const TableRequest& wanted);
  /// What has a name, as it is named here. `isRead`: with its rows, as far as they do not flow.
  Flow OpenNamed(const SqlRelation& relation, const TableRequest& wanted, bool isRead,
                 const FlowRules& rules);
  /// The same of a table of the session.
  Flow OpenOfSession(const SqlRelation& relation, const TableRequest& wanted, bool isRead,
                     const FlowRules& rules);
  /// The rows of what is neither a join nor a table by name, made once.
  TableRef MakeLeaf(const SqlRelation& relation);
  TableRef MakeSeries(const SqlRelation& relation);
  /// The rows of a source, with the conditions applied that can be; these are taken out of the
  /// list.
  TableRef MakeRows(Source& source, const TableRequest& wanted, Conditions& conditions);
  TableRef MakeJoin(Source& join, const TableRequest& wanted, Conditions& conditions);
  /// The same where they are read once.
  Flow OpenRows(Source& source, const TableRequest& wanted, Conditions& conditions,
                const FlowRules& rules);
  Flow OpenJoin(Source& join, const TableRequest& wanted, Conditions& conditions,
                const FlowRules& rules);
  /// The rows whose value is among the members.
  TableRef Keep(const TableRef& table, const TableRequest& wanted, const Membership& membership);
  Flow OpenKept(Flow input, const TableRequest& wanted, const Membership& membership,
                const FlowRules& rules);
  TableRef Filter(const TableRef& table, const TableRequest& wanted, Conditions& conditions);
  Flow OpenFilter(Flow input, const TableRequest& wanted, Conditions& conditions);
  /// Takes the conditions that read columns of a table, and no others, out of the list.
  static Conditions TakeConditionsOf(const TableSchema& schema, Conditions& conditions);

  // What flows.
  /// What may flow to a SELECT, whose rows flow as far as those around it say.
  FlowRules FindFlowRules(const SqlSelect& select, const FlowRules& around) const;
  /// Whether a query does no more than choose and compute, row by row.
  static bool PassesRowsOn(const SqlQuery& query);
  /// The rows of what is neither a join nor a table by name.
  Flow OpenLeaf(const SqlRelation& relation, const TableRequest& wanted, const FlowRules& rules);
  static TableRef WithLeafNames(const Table& rows, const SqlRelation& relation);
  Flow OpenMap(Flow input, MakeRowsOf make);
  /// Has the first rows in memory: all, or more than `most`.
  static void Buffer(Flow& flow, uint64 most);
  static TableRef TakeAll(Flow flow);
  /// Has rows in memory as far as they take about so many bytes; whether these are all.
  static bool FitsMemory(Flow& flow, uint64 bytes);
  /// What may flow to a join of a side whose rows are all taken before its first one is made.
  static FlowRules RulesOfSide(const FlowRules& rules);
  /// The same of its left side.
  static FlowRules RulesOfLeft(const SqlRelation& join, const FlowRules& rules);
  /// Joins both sides by way of temporary files. `layout`: null where the steps say how the columns
  /// are arranged; else they are once joined, since some have the value of either side.
  Flow OpenSpilled(JoinSteps steps, const JoinLayout* layout, Flow left, Flow right);
  /// The rows of a join whose sides are tables.
  TableRef JoinWhole(const JoinSteps& steps, const TableRef& left, const JoinLayout& layout);
  /// So many rows, and one chunk more, are taken before any is used.
  static uint64 CountFirstRows();
  /// Makes a flow, of the left rows, one of the joined rows. False, and it stays as it is, where
  /// the right rows are too many for that.
  bool OpenJoinFlow(JoinSteps steps, Flow& flow);
  /// Whether left rows may flow past so many right ones, instead of being looked up by them.
  static bool MayFlow(Flow& left, uint64 rightRows, const FlowRules& rules);
  /// Takes the rows that a statement has left.
  void DrainRests();
  template <class Action>
  auto Beside(uint64 rowsBefore, Action&& action);
  /// Between two sides: what equals what, in which type.
  struct JoinEqualities {
    Conditions left;
    Conditions right;
    std::vector<XeDataType> types;
  };
  /// Adds those among the conditions, which are taken out of the list.
  void TakeEqualities(const TableRef& left, const TableRef& right, Conditions& conditions,
                      JoinEqualities& equalities);
  /// In which the keys are compared.
  static std::vector<XeDataType> TypesOfKeys(const JoinEqualities& equalities);
  bool AddEquality(const TableRef& left, const TableRef& right, const SqlExpressionPtr& a,
                   const SqlExpressionPtr& b, JoinEqualities& equalities);
  JoinedRows JoinSides(const TableRef& left, const TableRef& right,
                       const JoinEqualities& equalities, JoinKind kind, const PairFilter& admits);
  /// The columns of a side by which it is joined: of the table itself, or of one made of them.
  struct KeyColumns {
    TableRef table;
    std::vector<std::size_t> columns;
  };
  KeyColumns MakeKeys(const TableRef& table, const Conditions& keys,
                      const std::vector<XeDataType>& types);
  /// Null for no conditions. `schema`: that of the columns of the left, then of the right side.
  PairFilter MakePairFilter(const TableRef& left, const TableRef& right, const TableSchema& schema,
                            const Conditions& conditions,
                            const std::vector<std::size_t>& leftColumns,
                            const std::vector<std::size_t>& rightColumns);

  /// Adds the values that either side has, behind the other columns, and returns what they are.
  TableSchema AddEither(Table& joined, const JoinLayout& layout,
                        const std::vector<std::size_t>& leftColumns,
                        const std::vector<std::size_t>& rightColumns);
  /// The rows of a join, whose columns are those of the left, then of the right side, as its layout
  /// has them.
  TableRef ArrangeRows(Table joined, const JoinLayout& layout,
                       const std::vector<std::size_t>& leftColumns,
                       const std::vector<std::size_t>& rightColumns);
  /// The columns of a join in the order of its layout, as far as they were gathered, those of the
  /// left, then of the right side, then `either`, which may be null if there are none; `schema`
  /// gets what they are.
  static std::vector<std::size_t> Arrange(const JoinLayout& layout,
                                          const std::vector<std::size_t>& leftColumns,
                                          const std::vector<std::size_t>& rightColumns,
                                          const TableSchema* either, TableSchema& schema);
  /// For EXPLAIN, in the place of a line that was left free.
  void Note(std::size_t line, const XeString& name, std::size_t keys, uint64 left, uint64 right,
            uint64 joined);

  void AddCommon(const SqlQuery& query);
  /// Finds the errors of queries of WITH that nothing has read, without running them.
  void CheckUnused(const SqlQuery& query);
  std::shared_ptr<Common> FindCommon(const XeString& name) const;
  TableRef MakeCommon(Common& common);
  Flow OpenCommon(Common& common, const TableRequest& wanted, const FlowRules& rules);
  /// Does something with what a query of WITH sees.
  template <class Action>
  auto InScopeOf(const Common& common, Action&& action);
  /// A name by which statements find a table.
  XeString Register(TableRef table);
  XeString Register(Flow flow);

  Session& session_;
  const std::string& sql_;
  const QueryParameters parameters_;
  std::map<XeString, TableRef> made_;
  Scope scope_;
  /// Those of WITH, by their queries, and the rows of subqueries in FROM.
  std::map<const SqlQuery*, std::shared_ptr<Common>> common_;
  std::map<const SqlRelation*, TableRef> leaves_;
  /// Tables have no rows, since only the errors of names and types are looked for.
  bool isDry_ = false;
  /// Texts were asked for that such a table has not.
  bool hasMissedTexts_ = false;
  /// The error that is on its way came from a query of WITH, which knows the first ones alone of
  /// what is around.
  std::optional<std::size_t> readsAround_;
  /// What the queries read that are around a subquery, in whose expressions it stands.
  std::vector<const SqlRelation*> around_;
  /// Subqueries are run once, though their expression be read twice; and what keeps the
  /// expressions.
  std::map<const SqlExpression*, SqlExpressionPtr> replaced_;
  std::vector<SqlExpressionPtr> kept_;
  std::vector<SqlQueryPtr> keptQueries_;
  /// Subqueries that read columns from outside: they are not replaced by values.
  std::set<const SqlExpression*> correlated_;
  /// For names of columns and tables that no statement can write.
  std::size_t nextName_ = 0;
  /// Of the SELECT whose expressions are being replaced: the conditions of its WHERE, and which of
  /// them are to be joins.
  std::set<const SqlExpression*> whereParts_;
  std::vector<Membership> memberships_;
  std::vector<XeString> notes_;
  uint64 rowsBefore_ = 0;
  /// What has not been taken yet of the rows that flow, by the names of their tables.
  std::map<XeString, std::unique_ptr<ChunkSource>> rests_;
};

}  // namespace sqxer
