#pragma once
// What the writers share: how a path becomes a URL and how outside text stays inside a format.

#include <QString>

namespace ondrel::interchange {

// "file:///Volumes/Day%201/A%23.mov": every byte of the UTF-8 path but letters, digits, "-._~"
// and "/" percent-encoded, so "#", "%", "?" and spaces cannot end the path early.
QString fileUrl(const QString& path);
// The form Final Cut Pro 7 and Premiere write: "file://localhost/Volumes/...".
QString localhostFileUrl(const QString& path);

// The text without what XML 1.0 cannot carry at all (control characters but tab and line
// breaks, lone surrogates, U+FFFE/U+FFFF); a lone surrogate becomes U+FFFD.
QString xmlSafe(const QString& text);

// The text on one line: line breaks and other control characters become spaces.
QString oneLine(const QString& text);

} // namespace ondrel::interchange
