// median_collector.h: a console reporter that also keeps the median time of
// each benchmark, for ratios printed after the runs.
#ifndef MIRT_BENCH_MEDIAN_COLLECTOR_H
#define MIRT_BENCH_MEDIAN_COLLECTOR_H

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

class MedianCollector : public benchmark::ConsoleReporter {
public:
    explicit MedianCollector(bool real_time = false)
        : benchmark::ConsoleReporter(isatty(1) ? OO_Defaults : OO_Tabular), real_time_(real_time) {}
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs)
            if (r.aggregate_name == "median")
                medians[r.run_name.function_name] = real_time_ ? r.GetAdjustedRealTime() : r.GetAdjustedCPUTime();
        benchmark::ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> medians;

private:
    bool real_time_;
};

#endif
