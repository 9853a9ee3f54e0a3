/// What a tree of the model holds, as text: one line for each attribute and member, in the order of
/// iteration, which is the same in any two trees with the same keys. Two trees are equal when their
/// texts are.
#pragma once

#include <gantry/runtime/fen/Dir.h>

#include <string>

namespace ModelTest {

/// The members of a directory and all below them. A type that the text does not know is a failure
/// of the test.
std::string treeText(Fen::Dir const& directory);

} // namespace ModelTest
