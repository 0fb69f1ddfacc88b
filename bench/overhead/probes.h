// probes.h: the probe that the workload places at every basic block, in the
// style that the build picks (PROBE_STYLE_*); with none picked, probes are
// empty and the compiler's own instrumentation (or none) does the counting.
//
// PROBE() marks a basic block; ENTRY() marks a function's first block, where
// the function style puts its mirt_obj scope instead.
#ifndef OVERHEAD_PROBES_H
#define OVERHEAD_PROBES_H

#if defined(PROBE_STYLE_TABLE) || defined(PROBE_STYLE_FN) || defined(PROBE_STYLE_FN2) || defined(PROBE_STYLE_OBJ)
#include "mirt64.h"
#endif

#if defined(PROBE_STYLE_TABLE)
// One counter per source line of the workload, registered once at load time
// (as a file's table is), then a plain increment per block.
extern long long* workload_counters;
#define PROBE() (void)(workload_counters[__LINE__] += 1)
#define ENTRY() PROBE()
#elif defined(PROBE_STYLE_FN)
// A numbered counter per block: an out-of-line call with the block's number.
#define PROBE() (void)mirt_fn(__COUNTER__)
#define ENTRY() PROBE()
#elif defined(PROBE_STYLE_FN2)
// The source-line probe: file name and line, counted under the runtime's lock.
#define PROBE() (void)mirt_fn2(const_cast<char*>("bench/overhead/workload.cpp"), __LINE__)
#define ENTRY() PROBE()
#elif defined(PROBE_STYLE_OBJ)
// A named point per function: a hit and a trace record on entry, a trace
// record on leaving; blocks inside carry no probe.
#define PROBE() ((void)0)
#define ENTRY() mirt_obj mirt_scope_(const_cast<char*>(__func__), __LINE__)
#else
#define PROBE() ((void)0)
#define ENTRY() ((void)0)
#endif

#endif
