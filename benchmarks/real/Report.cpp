#include "Report.h"

#include <iomanip>
#include <nlohmann/json.hpp>

namespace kr::zero::bench {

namespace {

constexpr const char* operations[] = {"bytes", "read", "write"};
// For the table of archives, which is made of the JSON.
constexpr const char* furtherOperations[] = {"write, wall", "document bytes", "read alone"};

const char* unitOf(const std::string& operation) { return operation.ends_with("bytes") ? "bytes" : "ms"; }

int decimalsOf(const std::string& operation) { return operation == "bytes" ? 0 : 3; }

void printCell(std::ostream& out, std::optional<double> value, int decimals, int width) {
  out << " | " << std::setw(width);
  if (value)
    out << std::fixed << std::setprecision(decimals) << *value;
  else
    out << "";
}

void printRow(std::ostream& out, const RealModel& model, const std::string& system, const Figures& figures) {
  out << "| " << std::left << std::setw(24) << model.name << std::right;
  printCell(out, figures.find(model.name, referenceSystem, "elements"), 0, 8);
  out << " | " << std::left << std::setw(14) << system << std::right;
  for (const char* operation : operations)
    printCell(out, figures.find(model.name, system, operation), decimalsOf(operation), 10);
  for (const char* operation : operations) {
    std::optional<double> ratio = ratioToReference(figures, model.name, system, operation);
    if (ratio) ratio = 1 / *ratio;
    printCell(out, ratio, 2, 6);
  }
  out << " |\n";
}

bool wasMeasured(const Figures& figures, const RealModel& model, const std::string& system) {
  for (const char* operation : operations)
    if (figures.find(model.name, system, operation)) return true;
  return false;
}

nlohmann::json entryOf(const Figures& figures, const RealModel& model, const std::string& system,
                       const char* operation, double value) {
  nlohmann::json entry = {{"workload", model.name},
                          {"system", system},
                          {"operation", operation},
                          {"value", value},
                          {"unit", unitOf(operation)},
                          {"elements", figures.find(model.name, referenceSystem, "elements").value_or(0)}};
  const std::optional<double> ratio = ratioToReference(figures, model.name, system, operation);
  entry["ratio_to_kr0"] = ratio ? nlohmann::json(*ratio) : nlohmann::json();
  return entry;
}

}  // namespace

void printTable(std::ostream& out, const std::vector<RealModel>& models, const Figures& figures) {
  out << "| model                    | elements | system         |      bytes |    read ms |   write ms "
         "| b o/t  | r o/t  | w o/t  |\n"
         "|--------------------------|---------:|----------------|-----------:|-----------:|-----------:"
         "|-------:|-------:|-------:|\n";
  for (const RealModel& model : models)
    for (const std::string& system : figures.systems())
      if (wasMeasured(figures, model, system)) printRow(out, model, system, figures);
  out << "\no/t: ours over theirs (kr0 direct over that row), of bytes, read and write; below 1 is in our "
         "favour.\n";
}

void writeJson(const std::string& path, const std::vector<RealModel>& models, const Figures& figures) {
  nlohmann::json list = nlohmann::json::array();
  const auto add = [&](const RealModel& model, const std::string& system, const char* operation) {
    if (const std::optional<double> value = figures.find(model.name, system, operation))
      list.push_back(entryOf(figures, model, system, operation, *value));
  };
  for (const RealModel& model : models)
    for (const std::string& system : figures.systems()) {
      for (const char* operation : operations) add(model, system, operation);
      for (const char* operation : furtherOperations) add(model, system, operation);
    }
  writeFile(path, list.dump(2) + "\n");
}

}  // namespace kr::zero::bench
