// Running one of the project's programs from a test.
#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

#include <gtest/gtest.h>

#include <string>

// What a program run left behind: its exit status (-1 when it did not end
// normally) and its two output streams.
struct ProgramRun
{
    int status = -1;
    std::string out, err;
};

// Run program with args, input on its standard input and env ("NAME=value")
// added to the environment; a run longer than two minutes is a failure.
inline ProgramRun runProgram(const QString& program, const QStringList& args, const QByteArray& input = {},
                             const QStringList& env = {})
{
    QProcess p;
    QProcessEnvironment e = QProcessEnvironment::systemEnvironment();
    for (const QString& kv : env)
        e.insert(kv.section('=', 0, 0), kv.section('=', 1));
    p.setProcessEnvironment(e);
    p.start(program, args);
    EXPECT_TRUE(p.waitForStarted()) << program.toStdString();
    p.write(input);
    p.closeWriteChannel();
    EXPECT_TRUE(p.waitForFinished(120000)) << program.toStdString() << " hung";
    ProgramRun r;
    r.status = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = p.readAllStandardOutput().toStdString();
    r.err = p.readAllStandardError().toStdString();
    return r;
}
