// libvxplot: display library for seismological data.
//
// The one public header.  An application either uses the classes directly
// or starts the graphics server (VX_GraphicsServer_create) and drives the
// interface with text commands from a thread of its own.
#pragma once

#include "vxplot_export.h"

// host toolkit
#include "toolkit/base/errors.h"
#include "toolkit/base/filemap.h"
#include "toolkit/base/hltime.h"
#include "toolkit/base/hlvector.h"
#include "toolkit/base/lists.h"
#include "toolkit/base/mtpool.h"
#include "toolkit/base/mtqueue.h"
#include "toolkit/base/strings.h"
#include "toolkit/base/table.h"
#include "toolkit/events/qkclient.h"
#include "toolkit/events/qkrecords.h"
#include "toolkit/events/qkserver.h"
#include "toolkit/geo/geo.h"
#include "toolkit/geo/hlmoment.h"
#include "toolkit/geo/traveltime.h"
#include "toolkit/params/hlconfigure.h"
#include "toolkit/params/hlkv.h"
#include "toolkit/params/kv.h"
#include "toolkit/seedlink/pktchan.h"
#include "toolkit/seedlink/tidereap.h"
#include "toolkit/signal/wffilter.h"
#include "toolkit/store/recordstore.h"
#include "toolkit/waveio/wfgap.h"
#include "toolkit/waveio/wfload.h"

// foundations
#include "foundation/configure.h"
#include "foundation/messages.h"
#include "foundation/nicevalues.h"
#include "foundation/values.h"

// display core
#include "viewport/clipping.h"
#include "viewport/layer.h"
#include "viewport/logo.h"
#include "viewport/pixelexpr.h"
#include "viewport/polydraw.h"
#include "viewport/scaledata.h"
#include "viewport/viewport.h"
#include "viewport/viewportitem.h"
#include "viewport/vxevent.h"
#include "viewport/vxqkclient.h"

// maps
#include "map/projection/maptransform.h"
#include "map/projection/projections.h"
#include "map/mapdata.h"
#include "map/mapdatafile.h"
#include "map/mapdatawriter.h"
#include "map/maplayer.h"
#include "map/mapitem.h"

// graphics contexts and shapes
#include "glyphs/glyph.h"
#include "glyphs/glyphs.h"
#include "glyphs/glyphsgc.h"
#include "glyphs/graphicscontext.h"
#include "glyphs/shape.h"

// plot items
#include "items/axes.h"
#include "items/polyline.h"
#include "items/polypoint.h"
#include "items/taskbar.h"
#include "items/text.h"
#include "items/textpopup.h"

// waveform display
#include "waveform/pixelator.h"
#include "waveform/trace.h"
#include "waveform/tracedefaults.h"
#include "waveform/traceview.h"

// command server
#include "server/callbacks.h"
#include "server/commands.h"
#include "server/commandscript.h"
#include "server/graphicsserver.h"
#include "server/mainwindow.h"
#include "server/toplevel.h"

// tables and parameter views
#include "views/commandconsole.h"
#include "views/dbtableview.h"
#include "views/kvtreeview.h"
#include "views/optionsdialog.h"
#include "views/tableview.h"
