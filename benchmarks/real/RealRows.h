/// @file
/// Measures the gate's rows of real models.
#pragma once

#include <fstream>
#include <string>
#include <vector>

#include "RealModels.h"
#include "Rows.h"

namespace kr::zero::bench {

/// EMF in a process of its own, which takes a sample whenever it is asked for one.
class EmfProcess {
 public:
  /// @param to,from named pipes: what it hears, and what it answers.
  EmfProcess(const std::string& to, const std::string& from) : to_(to), from_(from) {}
  /// Milliseconds of CPU time that one read takes.
  /// @throws std::runtime_error where it does not answer with a number.
  double read(const std::string& model, const std::string& form);

 private:
  std::ofstream to_;
  std::ifstream from_;
};

/// @param emf null where there is none: its rows are then skipped.
/// @throws std::runtime_error where a model read back is another one.
void measureRealRows(const std::vector<RealModel>& models, EmfProcess* emf, Rows& rows);

}  // namespace kr::zero::bench
