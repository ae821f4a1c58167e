// The server index at the size of a big server: 1 000 folders of 100 canvases under 10 areas (101 011
// nodes), 50 users in 10 groups. Measured at a client: opening the index (the server sends it whole, the
// client builds every record and derives its permissions, trash state and access); a permission change on
// one folder deep in the tree and on the root, whose costs must follow the sizes of their subtrees, not the
// size of the index; and a change that leaves the lists equal, which must touch no child. Wall-clock time on
// manual executors drained on this thread; each figure is the median of the runs.

#include "bench/BenchReporting.hpp"
#include "tests/support/OperatorSites.hpp"

#include "index/ServerIndex.hpp"
#include "index/ServerIndexFolder.hpp"
#include "operators/ServerDirectory.hpp"
#include "platform/tessel/AttributeResourcePermissions.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerOperators.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using TestSupport::LiveSites;
using TestSupport::StoredTree;

constexpr int areas = 10;
constexpr int foldersPerArea = 100;
constexpr int canvasesPerFolder = 100;
constexpr int users = 50;
constexpr int groups = 10;
constexpr std::size_t deepFolderSubtree = 1 + canvasesPerFolder;
constexpr std::size_t indexSize = 1 + areas * (1 + foldersPerArea * deepFolderSubtree);

std::map<std::string, std::vector<double>> g_seconds;
std::map<std::string, std::size_t> g_calculations;

Tessel::ResourcePermissions grant(QMap<int, Tessel::Permission> const& userEntries,
                                  QMap<int, Tessel::Permission> const& groupEntries = {}) {
    Tessel::ResourcePermissions permissions;
    for (auto entry = userEntries.cbegin(); entry != userEntries.cend(); ++entry) {
        permissions.acl.users.insert(entry.key(), {entry.value(), 0});
    }
    for (auto entry = groupEntries.cbegin(); entry != groupEntries.cend(); ++entry) {
        permissions.acl.groups.insert(entry.key(), {entry.value(), 0});
    }
    return permissions;
}

/// A server holding the big index, its directory published, and one client with it open.
class BigIndex {
public:
    BigIndex() : m_directory(Datamodel::ServerDirectory::create()) {
        m_directory->publishIn(m_operators);
        m_sites = std::make_unique<LiveSites>(QStringLiteral("26.07.5"), &m_operators);
        for (int id = 1; id <= users; ++id) {
            Datamodel::DirectoryUser user;
            user.id = 100 + id;
            user.fullName = QStringLiteral("user %1").arg(id);
            user.groups = {1 + id % groups};
            m_directory->setUser(user);
        }
        QString error;
        m_sites->server()->openDocument("index", Datamodel::ServerIndex::documentType(), error,
                                        [](Tessel::ServerDocument& document) { fill(document); });
    }

    /// A new client acting for user 101, with the index open; the time it took goes to `opened`.
    LiveSites::Site& open(double* seconds = nullptr) {
        auto const start = Clock::now();
        LiveSites::Site& site = m_sites->connect(QStringLiteral("client"), 101);
        auto opened = site.connection->openDocument("index", Datamodel::ServerIndex::documentType(),
                                                    Datamodel::ServerIndex::elementFactory());
        m_sites->deliver();
        site.document = LiveSites::answered(std::move(opened), "the server didn't open the index");
        if (seconds) {
            *seconds = std::chrono::duration<double>(Clock::now() - start).count();
        }
        return site;
    }

private:
    static void fill(Tessel::ServerDocument& document) {
        StoredTree const tree(document);
        int canvas = 0;
        for (int area = 0; area < areas; ++area) {
            auto areaFolder =
                tree.add(tree.root(), "area-" + QByteArray::number(area), "server_index_folder");
            tree.set<QString>(*areaFolder, "folder-name", QStringLiteral("Area %1").arg(area));
            // Owned by a user and shared with a group, so that every node below listens to the groups.
            tree.set<int>(*areaFolder, "owner", 101 + area);
            setPermissions(document, *areaFolder, grant({}, {{1 + area % groups, Tessel::PERMISSION_VIEW}}));
            for (int folder = 0; folder < foldersPerArea; ++folder) {
                auto inner =
                    tree.add(*areaFolder, "folder-" + QByteArray::number(area * foldersPerArea + folder),
                             "server_index_folder");
                tree.set<QString>(*inner, "folder-name", QStringLiteral("Folder %1").arg(folder));
                for (int i = 0; i < canvasesPerFolder; ++i, ++canvas) {
                    auto record = tree.add(*inner, "canvas-" + QByteArray::number(canvas), "canvas_document");
                    tree.set<QString>(*record, "canvas-id", QStringLiteral("c%1").arg(canvas));
                }
            }
        }
    }

    static void setPermissions(Tessel::ServerDocument& document, Tessel::ServerNode& node,
                               Tessel::ResourcePermissions const& permissions) {
        Tessel::AttributeResourcePermissions temporary(nullptr, QByteArray());
        temporary.setValue(permissions);
        node.addChildAttribute(
            Tessel::ServerAttributeSimple::createAttr(&document, "permission-overrides", temporary), false);
    }

    Tessel::ServerDocumentTypeOperators m_operators;
    std::shared_ptr<Datamodel::ServerDirectory> m_directory;
    std::unique_ptr<LiveSites> m_sites;
};

Datamodel::ServerIndex& indexOf(LiveSites::Site& site) {
    return *static_cast<Datamodel::ServerIndex*>(site.document->documentRoot());
}

/// Times `change` on the client's index and counts the lists it derived.
template <typename Change>
void measure(benchmark::State& state, char const* name, Change&& change) {
    for (auto _ : state) {
        state.PauseTiming();
        BigIndex big;
        LiveSites::Site& site = big.open();
        Datamodel::ServerIndex& index = indexOf(site);
        std::size_t const before = index.permissionCalculations;
        state.ResumeTiming();
        auto const start = Clock::now();
        change(index);
        double const seconds = std::chrono::duration<double>(Clock::now() - start).count();
        state.SetIterationTime(seconds);
        g_seconds[name].push_back(seconds);
        g_calculations[name] = index.permissionCalculations - before;
    }
}

void openIndex(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        BigIndex big;
        state.ResumeTiming();
        double seconds = 0;
        LiveSites::Site& site = big.open(&seconds);
        state.SetIterationTime(seconds);
        g_seconds["open"].push_back(seconds);
        if (indexOf(site).folderIndex.size() != static_cast<int>(areas * (1 + foldersPerArea))) {
            state.SkipWithError("the client didn't index every folder");
        }
    }
}

void changeDeepFolder(benchmark::State& state) {
    measure(state, "deep folder", [](Datamodel::ServerIndex& index) {
        index.findByFolderId("folder-555")
            ->permissionOverrides.setValue(grant({{150, Tessel::PERMISSION_EDIT}}));
    });
}

void changeRoot(benchmark::State& state) {
    measure(state, "root", [](Datamodel::ServerIndex& index) {
        index.permissionOverrides.setValue(grant({{150, Tessel::PERMISSION_EDIT}}));
    });
}

void changeLeavingListsEqual(benchmark::State& state) {
    measure(state, "equal lists", [](Datamodel::ServerIndex& index) {
        // An owner below 2 adds no entry: the folder's list stays as it was.
        index.findByFolderId("folder-555")->owner = 1;
    });
}

BENCHMARK(openIndex)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(changeDeepFolder)->Iterations(1)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(changeRoot)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(changeLeavingListsEqual)->Iterations(1)->UseManualTime()->Unit(benchmark::kMicrosecond);

void printFigures() {
    double const open = BenchReporting::median(g_seconds["open"]);
    double const deep = BenchReporting::median(g_seconds["deep folder"]);
    double const root = BenchReporting::median(g_seconds["root"]);
    std::printf("\nindex of %zu nodes (%d folders of %d canvases, %d users in %d groups)\n", indexSize,
                areas * foldersPerArea, canvasesPerFolder, users, groups);
    std::printf("open at a client: %.0f ms (%.1f us per node)\n", open * 1e3, open * 1e6 / indexSize);
    std::printf("permission change on a deep folder: %.0f us, %zu lists derived, subtree of %zu nodes\n",
                deep * 1e6, g_calculations["deep folder"], deepFolderSubtree);
    std::printf("permission change on the root:      %.0f us, %zu lists derived, subtree of %zu nodes\n",
                root * 1e6, g_calculations["root"], indexSize);
    if (deep > 0 && root > 0) {
        double const timeRatio = root / deep;
        double const sizeRatio = static_cast<double>(indexSize) / deepFolderSubtree;
        std::printf(
            "time ratio root / deep folder = %.0f, subtree ratio = %.0f (time per derived list: %.2f us "
            "and %.2f us)\n",
            timeRatio, sizeRatio, deep * 1e6 / g_calculations["deep folder"],
            root * 1e6 / g_calculations["root"]);
    }
    if (!g_seconds["equal lists"].empty()) {
        std::printf("a change that leaves the lists equal: %zu list derived, %s\n",
                    g_calculations["equal lists"],
                    g_calculations["equal lists"] == 1 ? "no child touched" : "CHILDREN TOUCHED");
    }
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    printFigures();
    benchmark::Shutdown();
    return 0;
}
