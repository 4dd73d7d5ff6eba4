#pragma once
// Python programs for Resolve are .py resources. Values reach a program only as a JSON literal
// in its first lines (ARGS), so no name or path can break out of the program text.

#include "Json.h"

#include <QString>

namespace ondrel {

// The text of the resource ":/ondrel/scripts/<name>"; empty when there is none.
QString scriptResource(const QString& name);

// A Python string literal holding `text` (ASCII only, so it survives any source encoding).
QString pythonStringLiteral(const QString& text);

// "import json\nARGS = json.loads(...)\n" followed by the program body.
QString pythonProgram(const QString& body, const Json& args);

} // namespace ondrel
