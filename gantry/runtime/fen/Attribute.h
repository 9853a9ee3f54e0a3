/// Attributes of entities, whole: the rules by which they change and their descriptions
/// (AttributeRules.h), how tools read them (AttrView.h) and how they travel (AttrWire.h). Generated
/// code includes this header.
#pragma once

#include <gantry/runtime/fen/AttrView.h>
#include <gantry/runtime/fen/AttrWire.h>
#include <gantry/runtime/fen/AttributeRules.h>
