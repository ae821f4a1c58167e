// The look-ups that operators make once per pass give the answers of the plain walk of the tree.

#include "tests/support/OperatorSites.hpp"

#include "operators/ServerTreeSearch.hpp"

#include <gtest/gtest.h>

#include <random>

using TestSupport::OperatorSites;
using TestSupport::StoredTree;

namespace {

/// A canvas of `count` nodes hung at random under the root and each other, some names used twice.
std::shared_ptr<Tessel::ServerDocument> randomCanvas(OperatorSites& sites, int count,
                                                     std::vector<QByteArray>& names,
                                                     std::vector<QByteArray>& guids) {
    return sites.openStored([&](StoredTree& tree) {
        std::mt19937 random(20261125);
        std::vector<std::shared_ptr<Tessel::ServerNode>> nodes{tree.document().rootNode()};
        for (int i = 0; i < count; ++i) {
            auto const& parent =
                nodes[std::uniform_int_distribution<std::size_t>(0, nodes.size() - 1)(random)];
            // One name in ten repeats one of the nodes already made, as names are unique among siblings only.
            QByteArray name = "node-" + QByteArray::number(i);
            if (i > 0 && random() % 10 == 0) {
                name = names[std::uniform_int_distribution<std::size_t>(0, names.size() - 1)(random)];
                if (parent->childNode(name)) {
                    name += "-again";
                }
            }
            nodes.push_back(tree.add(*parent, name, "tavola_folder"));
            names.push_back(name);
            guids.push_back(nodes.back()->guid());
        }
    });
}

} // namespace

TEST(ServerTreeSearch, NamesGatheredOnceAnswerAsThePlainWalk) {
    OperatorSites sites;
    std::vector<QByteArray> names;
    std::vector<QByteArray> guids;
    auto document = randomCanvas(sites, 2000, names, guids);
    auto const root = document->rootNode();
    Datamodel::ServerNodeNames const gathered(*root);
    names.push_back(root->name());
    for (QByteArray const absent : {"absent", "", "node-"}) {
        names.push_back(absent);
    }
    for (QByteArray const& name : names) {
        EXPECT_EQ(gathered.contains(name), Datamodel::findByName(root, name) != nullptr) << name.constData();
    }
}

TEST(ServerTreeSearch, TheGuidIndexAnswersAsThePlainWalk) {
    OperatorSites sites;
    std::vector<QByteArray> names;
    std::vector<QByteArray> guids;
    auto document = randomCanvas(sites, 2000, names, guids);
    sites.join("a"); // a node in the transient tree, which the walk from the root never reaches
    auto const root = document->rootNode();
    guids.push_back(root->guid());
    guids.push_back(document->transientRootNode()->childNodes().begin()->second->guid());
    guids.push_back("absent");
    for (QByteArray const& guid : guids) {
        EXPECT_EQ(Datamodel::findInTree(*root, guid), Datamodel::findByGuid(root, guid)) << guid.constData();
    }
}

TEST(ServerTreeSearch, TheWalkFindsTheFirstNamesakeDepthFirstInNameOrder) {
    OperatorSites sites;
    auto document = sites.openStored([](StoredTree& tree) {
        auto a = tree.add(tree.root(), "a", "tavola_folder");
        tree.add(*tree.add(*a, "a-inner", "tavola_folder"), "twin", "tavola_note");
        tree.add(*tree.add(tree.root(), "b", "tavola_folder"), "twin", "tavola_note");
    });
    auto const found = Datamodel::findByName(document->rootNode(), "twin");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->parent()->name(), QByteArray("a-inner")) << "the deeper twin under 'a' comes before 'b'";
}
