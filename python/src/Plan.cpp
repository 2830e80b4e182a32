#include "Plan.h"

#include <nanobind/stl/optional.h>
#include <nanobind/stl/pair.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include "Await.h"
#include "Capsules.h"
#include "Engine/DistributedPlan.h"
#include "Options.h"
#include "PythonResult.h"

namespace sqxer::python {
namespace {

using engine::DistributedPlan;
using engine::Result;
using PythonPlan = Unlocked<DistributedPlan>;
using Texts = std::vector<std::string>;

const char* NameOf(DistributedPlan::Kind kind) {
  switch (kind) {
    case DistributedPlan::Kind::kRows:
      return "rows";
    case DistributedPlan::Kind::kSplit:
      return "split";
    case DistributedPlan::Kind::kWhole:
      return "whole";
    case DistributedPlan::Kind::kDistinct:
      return "distinct";
    case DistributedPlan::Kind::kWindows:
      return "windows";
  }
  return "";
}

template <class Step>
PythonResult Run(PythonPlan& plan, Step&& step) {
  std::optional<Result> result;
  Await([&] { result.emplace(step()); }, [&] { plan->Cancel(); });
  return PythonResult(std::move(*result));
}

engine::ResultOptions MakeFixedOptions(const std::string& numerics, std::optional<int> scale) {
  engine::ResultOptions options = MakeOptions(numerics, false);
  options.fixedScale = scale;
  return options;
}

PythonResult Partial(PythonPlan& plan, nb::handle capsule, const std::string& numerics,
                     std::optional<int> scale) {
  auto* const stream = FromCapsule<ArrowArrayStream>(capsule);
  return Run(plan, [&] { return plan->Partial(stream, MakeFixedOptions(numerics, scale)); });
}

PythonResult Finish(PythonPlan& plan, nb::handle capsule, const std::string& numerics,
                    std::optional<int> scale) {
  auto* const stream = FromCapsule<ArrowArrayStream>(capsule);
  return Run(plan, [&] { return plan->Finish(stream, MakeFixedOptions(numerics, scale)); });
}

}  // namespace

void AddPlan(nb::module_& module) {
  nb::class_<PythonPlan>(module, "Plan")
      .def("__init__",
           [](PythonPlan* self, const std::string& sql, nb::handle schema,
              const DistributedPlan::Switches& switches, const Texts& parameters) {
             new (self) PythonPlan(
                 DistributedPlan(sql, *FromCapsule<ArrowSchema>(schema), switches, parameters));
           })
      .def("kind", [](PythonPlan& plan) { return NameOf(plan->GetKind()); })
      .def("table", [](PythonPlan& plan) { return plan->GetTable(); })
      .def("inputs", [](PythonPlan& plan) { return plan->GetInputs(); })
      .def("exchange", [](PythonPlan& plan) { return plan->GetExchange(); })
      .def("order",
           [](PythonPlan& plan) {
             const DistributedPlan::Order& order = plan->GetOrder();
             return nb::make_tuple(order.column, order.offset, order.limit);
           })
      .def("partial", &Partial)
      .def("combine",
           [](PythonPlan& plan, nb::handle capsule) {
             auto* const stream = FromCapsule<ArrowArrayStream>(capsule);
             return Run(plan, [&] { return plan->Combine(stream); });
           })
      .def("finish", &Finish);
}

}  // namespace sqxer::python
