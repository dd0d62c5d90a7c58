#include "toolkit/waveio/wfgap.h"

void wffill_gap(float* value, int n)
{
    if (!value)
        return;
    for (int i = 0; i < n; i++)
        value[i] = WF_GAP_VALUE;
}
