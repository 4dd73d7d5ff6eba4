#pragma once
// Python programs for Resolve are .py resources. The program text stays fixed; its values arrive
// as one JSON document on standard input (ARGS), so no name or path can break out of the program
// and no value is bounded by the size of a command-line argument.

#include "Json.h"

#include <QByteArray>
#include <QString>

namespace ondrel {

struct PythonProgram {
    QString code;     // what goes to `python3 -c`
    QByteArray input; // its standard input: the values as ASCII-only JSON
};

// The text of the resource ":/ondrel/scripts/<name>"; empty when there is none.
QString scriptResource(const QString& name);

// "import json, sys" and "ARGS = json.loads(<stdin>)" followed by the program body, with `args`
// as its input.
PythonProgram pythonProgram(const QString& body, const Json& args);

} // namespace ondrel
