#pragma once

#include <QString>

// Runs a command line through /bin/sh -c and waits for it.
class ShellCommand
{
public:
    struct Result
    {
        QString output; // standard output, decoded as UTF-8
        int exitCode = -1;
    };

    static Result run(const QString &commandLine);
    static QString output(const QString &commandLine) { return run(commandLine).output; }

    // `text` as one word of a command line, whatever it holds: in single quotes, each ' written
    // as '\''. Every path, name or other text put into a command line goes through this.
    static QString quoted(const QString &text);
};
