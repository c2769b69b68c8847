#pragma once
// Runs functions side by side in one process and compares what they cost.
//
// Absolute times differ from moment to moment on a shared machine, so everything is a ratio: each round times
// every function once, one after the other, and the best round of each counts.

#include <ctime>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/// Keeps the compiler from leaving out what made @p value.
template <typename T>
inline void keep(const T& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

/// Seconds of processor time of the calling thread.
inline double threadSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// One thing to measure: a name and a function that does the job once.
struct Job {
    std::string name;
    std::function<void()> run;
    double limit = 0;  // the largest ratio to the first job that is accepted; 0 prints only
};

struct Result {
    double best = 0;    // seconds of one run in the best round
    double median = 0;  // seconds of one run in the middle round
};

/// Times every job in each of @p rounds rounds, in batches of about @p batchSeconds.
inline std::vector<Result> measure(const std::vector<Job>& jobs, int rounds = 15,
                                   double batchSeconds = 2e-3) {
    std::vector<long> repeats;
    for (const Job& job : jobs) {
        long count = 1;
        for (double seconds = 0; seconds < batchSeconds; count *= 2) {
            const double start = threadSeconds();
            for (long i = 0; i < count; ++i) job.run();
            seconds = threadSeconds() - start;
        }
        repeats.push_back(count / 2);
    }
    std::vector<std::vector<double>> times(jobs.size());
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t j = 0; j < jobs.size(); ++j) {
            const double start = threadSeconds();
            for (long i = 0; i < repeats[j]; ++i) jobs[j].run();
            times[j].push_back((threadSeconds() - start) / static_cast<double>(repeats[j]));
        }
    }
    std::vector<Result> results;
    for (auto& samples : times) {
        std::sort(samples.begin(), samples.end());
        results.push_back({samples.front(), samples[samples.size() / 2]});
    }
    return results;
}

/// Measures the jobs, prints each with its ratio to the first one, the yardstick. @return whether all limits
/// hold.
inline bool compare(const std::string& title, const std::vector<Job>& jobs, int rounds = 15) {
    const std::vector<Result> results = measure(jobs, rounds);
    bool good = true;
    std::printf("%s\n", title.c_str());
    for (std::size_t j = 0; j < jobs.size(); ++j) {
        const double ratio = results[j].best / results[0].best;
        const bool within = jobs[j].limit == 0 || ratio <= jobs[j].limit;
        good = good && within;
        std::printf("  %-46s %12.1f ns  median %12.1f ns  ratio %7.2f", jobs[j].name.c_str(),
                    results[j].best * 1e9, results[j].median * 1e9, ratio);
        if (jobs[j].limit != 0) std::printf("  limit %.2f %s", jobs[j].limit, within ? "held" : "EXCEEDED");
        std::printf("\n");
    }
    std::fflush(stdout);
    return good;
}

}  // namespace bench
