// libvxplot: display library for seismological data.
//
// The one public header.  An application either uses the classes directly
// or starts the graphics server (VX_GraphicsServer_create) and drives the
// interface with text commands from a thread of its own.
#pragma once

#include "vxplot_export.h"

// host toolkit
#include "toolkit/errors.h"
#include "toolkit/filemap.h"
#include "toolkit/geo.h"
#include "toolkit/hlconfigure.h"
#include "toolkit/hlmoment.h"
#include "toolkit/hltime.h"
#include "toolkit/hlvector.h"
#include "toolkit/kv.h"
#include "toolkit/lists.h"
#include "toolkit/mtpool.h"
#include "toolkit/mtqueue.h"
#include "toolkit/recordstore.h"
#include "toolkit/strings.h"
#include "toolkit/traveltime.h"
#include "toolkit/table.h"

// foundations
#include "foundation/configure.h"
#include "foundation/messages.h"
#include "foundation/nicevalues.h"
#include "foundation/projections.h"
#include "foundation/qeventnames.h"
#include "foundation/values.h"

// display core
#include "viewport/clipping.h"
#include "viewport/layer.h"
#include "viewport/pixelexpr.h"
#include "viewport/polydraw.h"
#include "viewport/scaledata.h"
#include "viewport/viewport.h"
#include "viewport/viewportitem.h"
#include "viewport/vxevent.h"

// maps
#include "map/maptransform.h"

// graphics contexts and shapes
#include "glyphs/glyph.h"
#include "glyphs/glyphs.h"
#include "glyphs/glyphsgc.h"
#include "glyphs/graphicscontext.h"
#include "glyphs/shape.h"

// plot items
#include "items/axes.h"
#include "items/logo.h"
#include "items/polyline.h"
#include "items/text.h"
#include "items/textpopup.h"

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
#include "views/tableview.h"
#include "views/tableview_model.h"
