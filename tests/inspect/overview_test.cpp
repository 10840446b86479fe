// What is in a document, told without a model of it.

#include "kr/zero/inspect/Overview.h"

#include <gtest/gtest.h>

#include "inspect/Shelves.h"
#include "kr/zero/io/ModelFile.h"

namespace kr::zero::inspect {

namespace {

