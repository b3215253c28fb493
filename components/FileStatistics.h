// CFileStatistics: how many files a pass copied or deleted and how many
// bytes they held, and the summary line the mirroring components print.
#pragma once

#include <atomic>

#include "core/REFString.h"

class CFileStatistics final {
public:
    // Both values are read by the host while a worker thread counts, so
    // they are atomics; a reader during a run sees values in progress.
    void Clear() {
        m_Files.store(0, std::memory_order_relaxed);
        m_Bytes.store(0, std::memory_order_relaxed);
    }
    void Add(double bytes) {
        m_Files.fetch_add(1, std::memory_order_relaxed);
        m_Bytes.store(m_Bytes.load(std::memory_order_relaxed) + bytes, std::memory_order_relaxed);
    }
    // Adds another record's totals (a pass run by an inner step).
    void AddTotals(int32_t files, double bytes) {
        m_Files.fetch_add(files, std::memory_order_relaxed);
        m_Bytes.store(m_Bytes.load(std::memory_order_relaxed) + bytes, std::memory_order_relaxed);
    }
    int32_t Files() const { return m_Files.load(std::memory_order_relaxed); }
    double Bytes() const { return m_Bytes.load(std::memory_order_relaxed); }
    // The totals into either output, each skipped when null (the statistics
    // calls of IShadow); S_OK.
    HRESULT Report(int32_t* files, double* bytes) const {
        if (files) *files = Files();
        if (bytes) *bytes = Bytes();
        return S_OK;
    }

    // The result line: "<label> <n> Files (<size> <unit>bytes) on <destination> ",
    // the size scaled to K, M or G with 0, 1 or 2 decimals.
    HRESULT GetInfoString(CREFString destination, CREFString label, IString** result) const;

private:
    std::atomic<int32_t> m_Files{0};
    std::atomic<double> m_Bytes{0};
};
