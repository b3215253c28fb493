// What the host runtime offers: every family's table of components, joined
// in a fixed order, lowest family first. The one file that sees every
// family, so it stands above them all rather than in one of them.
#include <vector>

#include "host/archive/Components.h"
#include "host/collections/Components.h"
#include "host/files/Components.h"
#include "host/os/Components.h"
#include "host/parameters/Components.h"
#include "host/runtime/Components.h"
#include "host/settings/Components.h"
#include "host/streams/Components.h"
#include "host/transfer/Components.h"
#include "host/transform/Components.h"
#include "host/ui/Components.h"
#include "host/values/Components.h"

namespace host {

namespace {

std::vector<HostComponent>& Joined() {
    static std::vector<HostComponent> all = [] {
        std::vector<HostComponent> joined;
        const std::span<const HostComponent> families[] = {
            ValuesComponents(),   CollectionsComponents(), RuntimeComponents(),   FilesComponents(),
            StreamsComponents(),  SettingsComponents(),    ParametersComponents(), UIComponents(),
            OSComponents(),       TransferComponents(),    TransformComponents(),    ArchiveComponents(),
        };
        for (std::span<const HostComponent> rows : families) joined.insert(joined.end(), rows.begin(), rows.end());
        return joined;
    }();
    return all;
}

} // namespace

std::span<const HostComponent> HostComponents() { return Joined(); }

void AddHostComponentForTesting(HostComponent row) { Joined().push_back(row); }

} // namespace host
