// Many sites writing at once, with messages delivered in a random order, end with the server's document.

#include "tests/support/LiveSites.hpp"

#include "canvas/Note.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerNode.hpp"

#include <gtest/gtest.h>

#include <map>
#include <random>

using TestSupport::LiveSites;

namespace {

/// Element guid to attribute name to the encoded value, for every note of a document.
using Snapshot = std::map<QByteArray, std::map<QByteArray, QByteArray>>;

Snapshot snapshotOf(Tessel::ServerDocument const& document) {
    Snapshot snapshot;
    for (auto const& child : document.rootNode()->childNodes()) {
        for (auto const& attribute : child.second->childAttributes()) {
            snapshot[child.second->guid()][attribute->name()] = attribute->encodedValue().bytes;
        }
    }
    return snapshot;
}

/// What a client holds of the same: the values its notes have on the user layer, encoded as the server
/// stores them.
Snapshot snapshotOf(LiveSites::Site const& site, Kelp::TypeRegistry const& registry) {
    Snapshot snapshot;
    for (Basalt::Node::Entry const& entry : site.canvas().attributes()) {
        auto const* note = dynamic_cast<Datamodel::Note const*>(entry.second);
        if (!note) {
            continue;
        }
        auto& values = snapshot[note->guid()];
        for (Basalt::Node::Entry const& attribute : note->attributes()) {
            unsigned code = 0;
            unsigned size = 0;
            auto const serializer = registry.createSerializer(attribute.second, code, size);
            if (serializer && Tessel::Element::isSharedAttribute(*attribute.second) &&
                attribute.second->isValueDefinedOnLayer(Basalt::Attribute::LAYER_USER)) {
                values[attribute.first] = serializer->serialize(*attribute.second);
            }
        }
    }
    return snapshot;
}

/// One random write to a random shared attribute of a random note of the site.
void writeAtRandom(LiveSites::Site& site, std::vector<QByteArray> const& guids, std::mt19937& random) {
    auto* note =
        dynamic_cast<Datamodel::Note*>(site.document->findSharedElement(guids[random() % guids.size()]));
    ASSERT_NE(note, nullptr);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    switch (random() % 6) {
    case 0:
        note->text = QString::number(random() % 1000);
        break;
    case 1:
        note->depth = unit(random);
        break;
    case 2:
        note->scale = 0.5f + unit(random);
        break;
    case 3:
        note->location = Fathom::Vector2T<float>(unit(random) * 1000, unit(random) * 1000);
        break;
    case 4:
        note->size = Fathom::SizeT<float>(100 + unit(random) * 100, 100 + unit(random) * 100);
        break;
    default:
        note->backgroundColor = Cobalt::ColorPMA(unit(random), unit(random), unit(random), 1.0f);
        break;
    }
}

} // namespace

TEST(Convergence, FourClientsWritingAtRandomEndWithTheServersDocument) {
    LiveSites sites;
    std::vector<LiveSites::Site*> clients;
    for (QString name : {"a", "b", "c", "d"}) {
        clients.push_back(&sites.join(name));
    }
    Tessel::NodeTransaction transaction(*clients[0]->document);
    for (int i = 0; i < 5; ++i) {
        transaction.addNode(*new Datamodel::Note(), clients[0]->canvas());
    }
    transaction.commit();
    sites.deliver();
    std::vector<QByteArray> guids;
    for (auto const& child : sites.serverDocument()->rootNode()->childNodes()) {
        guids.push_back(child.second->guid());
    }
    ASSERT_EQ(guids.size(), 5u);

    std::mt19937 random(20261124);
    std::vector<TestSupport::ManualExecutor*> executors{&sites.serverExecutor()};
    for (auto* client : clients) {
        executors.push_back(&client->executor);
    }
    std::vector<int> writesLeft(clients.size(), 1000);
    for (int left = 4000; left > 0;) {
        std::size_t const who = random() % clients.size();
        if (writesLeft[who] > 0 && random() % 2 == 0) {
            writeAtRandom(*clients[who], guids, random);
            --writesLeft[who];
            --left;
            continue;
        }
        executors[random() % executors.size()]->runOne();
    }
    sites.deliver();

    Snapshot const server = snapshotOf(*sites.serverDocument());
    EXPECT_EQ(server.size(), 5u);
    for (auto* client : clients) {
        EXPECT_EQ(snapshotOf(*client, *sites.registry()), server)
            << "client " << client->connection->connectionId() << " holds the server's document";
    }
}
