/// @file
/// Internal: what the descriptions of verbs share. Only the files *Commands.cpp describe verbs, so that the
/// option parser, which takes long to compile, stays in them.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "Commands.h"

namespace kr::zero::tool {

/// Has "--" mean this option where it stands behind the verb `schema diff`: the option parser would only take
/// it for the end of options.
inline constexpr const char* kNewSchemas = "--new";

///@{
/// The groups of verbs; each has a file of its own.
void addDocumentCommands(CLI::App& app);
void addSchemaCommands(CLI::App& app);
void addTableCommands(CLI::App& app);
void addStudyCommands(CLI::App& app);
void addAssembleCommands(CLI::App& app);
void addInspectCommands(CLI::App& app);
void addCompareCommands(CLI::App& app);
void addReportCommands(CLI::App& app);
///@}

/// A verb. What it does is set as its callback, which keeps its options.
/// @param example calls of it, without the first two spaces.
CLI::App* addVerb(CLI::App& app, const std::string& name, const std::string& deed,
                  const std::string& example);

/// Complains where none of an app's verbs is given. The parser's own check would hide an unknown verb behind
/// the complaint that there is none.
void needVerb(CLI::App& app);

/// Accepts the names of formats that are read.
CLI::IsMember isFormat();
/// Accepts these, and the names of tables.
CLI::IsMember isWrittenFormat();

///@{
/// -m; --limit; all options of ReadOptions.
/// @param name what the help calls the documents.
CLI::Option* addMetaModels(CLI::App& verb, std::vector<std::string>& paths);
void addLimit(CLI::App& verb, std::uint64_t& limit);
void addReading(CLI::App& verb, ReadOptions& reading, const std::string& name);
///@}

/// --to, --level and --tagged.
void addWriting(CLI::App& verb, std::string& format, WriteOptions& writing);
/// --meta-path, --map-uri and --keep-going.
/// @param name what the help calls what is read.
void addFinding(CLI::App& verb, ReadOptions& reading, const std::string& name);

/// One document, with all that tells how to read it.
void addInput(CLI::App& verb, InputOptions& input, const std::string& name, const std::string& what);
/// One document or more.
void addInputs(CLI::App& verb, InputsOptions& inputs, const std::string& what);

}  // namespace kr::zero::tool
