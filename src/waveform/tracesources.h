// Where a trace's samples come from: the state of an event-service source
// and of a real-time source, as the pixelator keeps them per source.
//
// The trace view fills these records when it makes a trace; the pixelator
// only reads them (and, for a type 1 source, stores the waveform rows it
// asked for and the path of their table).
#pragma once

#include "toolkit/store/recordstore.h"
#include "waveform/pixelatorreader.h"

#include <QHash>
#include <QList>
#include <QString>

class VXTraceview;
class VXTraceviewQKClient;
class QKServer;
struct TidereapThr;
struct VxPixelatorSource;

// An event-service source (type 1).
struct VxTraceviewQK
{
    VXTraceview* traceview = nullptr;
    QKServer* qkserver = nullptr;
    VXTraceviewQKClient* qkclient = nullptr;
    Rsptr db{-1, -1, -1, -1};
    int calib_from_db = 0;
    int free_when_done = 0;
    QString stachan_accept_expr;
    QString stachan_reject_expr;
    QList<VxPixelatorRecord> ev_sc_wfdiscs;  // the waveform rows of the last read
    QString qk_wfdisc_dbpath;  // the waveform table's path, as the client gave it last
    // How the pixelator reaches the waveform rows and their samples: made
    // from qkclient (see pixelator_qk_client.cpp), or given directly by a
    // program that reads waveforms its own way.  Not owned.
    VXPixelatorReader* reader = nullptr;
};

// A real-time packet source (type 2).
struct VxTraceviewTIDE
{
    VXTraceview* traceview = nullptr;
    VxPixelatorSource* source = nullptr;
    QString tidename;
    TidereapThr* tidereap = nullptr;
    int reconfig = 0;
    int reconfig_clear = 0;
    int reconfig_after = 0;
    double tideafter_time = 0.0;
    Rsptr db{-1, -1, -1, -1};
    VXTraceviewQKClient* qkclient = nullptr;
    int calib_from_db = 0;
    int free_when_done = 0;
    QString stachan_accept_expr;
    QString stachan_reject_expr;
    QHash<QString, QString> stachan_hash;  // channel name to "sta chan", or "skip"
};
