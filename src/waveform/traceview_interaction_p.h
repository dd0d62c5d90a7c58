// A scope whose registered error lines are dropped, for the trace view's
// drawing and selection helpers that a command may call with lines of its
// own already in the register.
#pragma once

#include "toolkit/base/errors.h"

#include <QByteArray>
#include <QList>

// Lines registered while it lives are dropped; those before it stay.
class VxQuietRegister
{
public:
    VxQuietRegister() : count_(hl_error_count())
    {
        if (count_ > 0)
            saved_ = QByteArray(hl_errlog_string(0));
    }
    ~VxQuietRegister()
    {
        if (hl_error_count() == count_)
            return;
        hl_clear_register(HL_CLEAR_QUIET);
        for (const QByteArray& line : saved_.split('\n'))
            if (!line.isEmpty())
                hl_register_error(HL_SEVERITY_NORMAL, "%s\n", line.constData());
    }
    VxQuietRegister(const VxQuietRegister&) = delete;
    VxQuietRegister& operator=(const VxQuietRegister&) = delete;

private:
    int count_;
    QByteArray saved_;
};
