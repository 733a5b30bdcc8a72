// Many threads call every export at once, each on buffers of its own, and
// every result equals that of a single-threaded run.  Built in an ordinary
// build it checks the results; built with CELCC_TSAN it also runs under
// ThreadSanitizer, which reports any data race in the library.
//
// CELCC_ROBUST_THREADS sets the thread count (default 4),
// CELCC_ROBUST_ROUNDS the passes over the list per thread (default 2).
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "robust/robust.h"

namespace {

using namespace celrobust;

TEST(Threads, EveryExportAtOnceGivesTheSingleThreadedResult) {
    const auto& all = subjects();
    // Two sizes per export: one that ends in a vector tail, one larger.
    struct Job {
        Call call;
        Outcome reference;
    };
    std::vector<Job> jobs;
    for (const Subject& s : all) {
        if (!s.row || !s.problem.empty() || (s.row->rule.flags & kHeldBack)) continue;
        for (int k = 0; k < 2; ++k) {
            Job j;
            j.call = s.shape == Shape::Version ? Call{} : typicalCall(s, k ? 131 : 37, k ? 7 : 11, 17 + k);
            j.call.subject = &s;
            j.reference = runPlain(j.call);
            EXPECT_TRUE(j.reference.failures.empty()) << describe(j.call) << ": " << j.reference.failures[0];
            jobs.push_back(std::move(j));
        }
    }
    ASSERT_FALSE(jobs.empty());
    const int threads = std::max(2, envInt("CELCC_ROBUST_THREADS", 4));
    const int rounds = std::max(1, envInt("CELCC_ROBUST_ROUNDS", 2));
    std::atomic<long> calls{0}, mismatches{0};
    std::vector<std::string> firstMismatch(threads);
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t)
        pool.emplace_back([&, t] {
            // Each thread starts at its own place in the list, so that
            // different exports and the same export both overlap in time.
            const size_t n = jobs.size();
            for (int r = 0; r < rounds; ++r)
                for (size_t i = 0; i < n; ++i) {
                    const Job& j = jobs[(i + t * (r + 1) * n / (threads + 1)) % n];
                    const Outcome o = runPlain(j.call);
                    ++calls;
                    if (o.status != j.reference.status || o.dstHash != j.reference.dstHash) {
                        if (mismatches++ == 0 || firstMismatch[t].empty()) firstMismatch[t] = describe(j.call);
                    }
                }
        });
    for (auto& th : pool) th.join();
    std::string where;
    for (const auto& m : firstMismatch)
        if (!m.empty()) where += "\n  " + m;
    EXPECT_EQ(mismatches.load(), 0) << "results differ from the single-threaded run:" << where;
    std::printf("[ robust   ] %d threads, %ld calls of %zu exports\n", threads, calls.load(), jobs.size() / 2);
}

}  // namespace
