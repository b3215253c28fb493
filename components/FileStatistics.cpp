#include "components/FileStatistics.h"

#include <string>

#include "core/Helpers.h"

namespace {
// A terminated copy of a view: the format's "%*ls" prints the whole
// terminated text, so a view into a longer text must be cut first. A
// negative length counts as 0.
std::wstring Terminated(const CREFString& view) { return std::wstring(REFView(view)); }
} // namespace

HRESULT CFileStatistics::GetInfoString(CREFString destination, CREFString label, IString** result) const {
    if (!result) return E_POINTER;
    double value = Bytes();
    wchar_t unit = L' ';
    int precision = 0;
    if (value > 1024.0) {
        value *= 1.0 / 1024;
        unit = L'K';
        precision = 1;
        if (value > 1024.0) {
            value *= 1.0 / 1024;
            unit = L'M';
            precision = 2;
            if (value > 1024.0) {
                value *= 1.0 / 1024;
                unit = L'G';
                precision = 2;
            }
        }
    }
    const std::wstring labelText = Terminated(label);
    const std::wstring destinationText = Terminated(destination);
    wchar_t line[256] = {};
    _swprintf(line, 256, L"%*ls %d Files (%-12.*f %cbytes) on %*ls ", static_cast<int>(labelText.size()),
              labelText.c_str(), Files(), precision, value, unit, static_cast<int>(destinationText.size()),
              destinationText.c_str());
    *result = ISCreate(line);
    return *result ? S_OK : E_FAIL;
}
