// Helpers of the procedures that make and drive plot items.  Private to
// the server.
#pragma once

class HLConfigure;
class VXViewportItem;

// The configuration of a handle-table entry: the viewport and the plot
// items the server makes; null for every other type.
HLConfigure* vx_as_configure(int type, void* item);

// The viewport item behind a handle-table entry: the viewport and the plot
// items the server makes; null for every other type.
VXViewportItem* vx_as_viewport_item(int type, void* item);
