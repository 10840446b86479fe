#include "resource_core/BaseMsgID.h"

#include <utility>

namespace resource_core {

BaseMsgID::BaseMsgID(std::string catalog, std::string identifier, std::vector<MsgArgument> arguments)
    : catalog_(std::move(catalog)), identifier_(std::move(identifier)), arguments_(std::move(arguments)) {}

std::string BaseMsgID::getFullIdentifier() const {
  const bool olderForm = catalog_ == "ZENTOR:legacy_two_part";
  return (olderForm ? "ZENTOR" : catalog_) + ":" + identifier_;
}

}  // namespace resource_core
