#include "errors/MessageIds.h"

namespace kr::zero::io::errors {

using resource_core::BaseMsgID;

namespace {

BaseMsgID io(const char* identifier) { return BaseMsgID("kr0:io", identifier); }

}  // namespace

BaseMsgID corruptInput() { return io("CorruptInput"); }
BaseMsgID intermediateFormatNotSupported() { return io("IntermediateFormatNotSupported"); }
BaseMsgID ustringNotSupported() { return io("UstringNotSupported"); }
BaseMsgID fileNotFound(const ustring& fileName) { return BaseMsgID("kr0:io", "FileNotFound", {fileName}); }
BaseMsgID stringNotSupportedByParser() { return io("StringNotSupportedByParser"); }
BaseMsgID ustringNotSupportedByParser() { return io("UstringNotSupportedByParser"); }
BaseMsgID cannotSerialize() { return io("CannotSerialize"); }
BaseMsgID stringNotSupported() { return io("StringNotSupported"); }
BaseMsgID cannotCastIncompatibleTypes(const ustring& typeName) {
  return BaseMsgID("kr0:messages", "CannotCastIncompatibleTypes", {typeName});
}

}  // namespace kr::zero::io::errors
