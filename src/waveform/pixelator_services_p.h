// What the pixelator needs of the services around it, in one place: the
// filter service, the event service's client, and small helpers shared by
// the pixelator's files.
#pragma once

#include "toolkit/base/table.h"
#include "toolkit/store/recordstore.h"
#include "waveform/pixelator.h"

#include <QString>

// 1 when db's table or view has the field.
bool pixelator_has_field(Rsptr db, const char* field);

// Copy text into a buffer of size characters, cut to size - 1, always
// terminated; null text gives an empty buffer.
void pixelator_copy_text(char* buffer, size_t size, const char* text);

// Segment i of a source's list, to change in place.
VxPixelatorSegment& pixelator_segment_at(Table<VxPixelatorSegment>& segments, long i);

// Filter *nsamp samples at *data (malloc'ed, *size floats) starting at
// *tstart with interval *dt through the filter text; the filter may change
// all of them, and reallocate *data.  hookptr, when not null, carries the
// filter's state from call to call.  Negative on failure, registered.
int pixelator_filter(double* tstart, int* nsamp, double* dt, float** data, int* size, const QString& filter,
                     Hook** hookptr);

// Free a filter state and null the pointer.
void pixelator_release_hook(Hook** hook);

// The reader of waveform rows behind an event-service client, made once per
// client and kept for the life of the process; null when there is none.
class QKClient;
VXPixelatorReader* pixelator_qkclient_reader(QKClient* client);
// The same for the trace view's client.
VXPixelatorReader* pixelator_qk_reader(VXTraceviewQKClient* client);

// From start, the next run [*is, *ie] of samples that are not bad_value
// (NaN counts as a sample); both -10 when there is none.
void pixelator_find_good_seg(const float* data, long nsamp, long start, float bad_value, long* is, long* ie);
