/// @file
/// Internal: what a Python Model is.
#pragma once

#include <memory>
#include <utility>

#include "Binding.h"
#include "RegistryState.h"
#include "kr/zero/Error.h"
#include "kr/zero/Model.h"

namespace kr::zero::python {

/// A model with the registry that it lives by. Used with Python's lock held, but for reading that a Reading
/// announces.
class ModelState {
 public:
  /// @param model of that registry.
  ModelState(std::shared_ptr<RegistryState> registry, Model model)
      : registry_(std::move(registry)), model_(std::move(model)) {}

  const std::shared_ptr<RegistryState>& registry() const noexcept { return registry_; }
  /// For reading.
  const Model& read() const noexcept { return model_; }
  /// For changing.
  /// @throws ModelError while another thread reads the model without Python's lock.
  Model& change() {
    requireNoReader();
    return model_;
  }
  void requireNoReader() const {
    if (readers_ != 0) throw ModelError("the model is being read by another thread, and cannot be changed");
  }

 private:
  friend class Reading;
  std::shared_ptr<RegistryState> registry_;  // outlives the model
  Model model_;
  int readers_ = 0;
};

/// Gives Python's lock to other threads while a model is read. They may read it too, and not change it.
class Reading {
 public:
  explicit Reading(ModelState& state) : state_(state) {
    ++state_.readers_;
    thread_ = PyEval_SaveThread();
  }
  ~Reading() {
    PyEval_RestoreThread(thread_);
    --state_.readers_;
  }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;

 private:
  ModelState& state_;
  PyThreadState* thread_;
};

}  // namespace kr::zero::python
