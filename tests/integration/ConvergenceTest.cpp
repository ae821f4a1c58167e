// Many sites writing at once, with messages delivered in a random order, end with the server's document.

#include "tests/support/LiveSites.hpp"
#include "tests/support/OperatorSites.hpp"

#include "canvas/Note.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerNode.hpp"

#include <gtest/gtest.h>

#include <map>
#include <random>

using Datamodel::SharedCanvas;
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

namespace {

Basalt::AttributeVectorContainer<Cobalt::ColorPMA>& presetsOf(LiveSites::Site const& site) {
    return site.canvas().annotationColorPresets;
}

/// The server's list of annotation presets, decoded.
std::vector<Cobalt::ColorPMA> serverPresets(LiveSites const& sites) {
    auto const stored = sites.serverDocument()->rootNode()->childAttribute("annotation-color-presets");
    Basalt::AttributeVectorContainer<Cobalt::ColorPMA> decoded(nullptr, "decoded");
    unsigned code = 0;
    unsigned size = 0;
    auto const serializer = sites.registry()->createSerializer(&decoded, code, size);
    EXPECT_TRUE(stored && serializer && serializer->deserialize(stored->encodedValue().bytes, decoded))
        << "the server holds the list";
    return decoded.values();
}

/// One random edit of the site's list: an insertion, a removal, a new value or, rarely, a whole new list.
void editAtRandom(LiveSites::Site& site, std::mt19937& random) {
    auto& list = presetsOf(site);
    Cobalt::ColorPMA const color(static_cast<float>(random() % 256) / 255, 0, 0, 1);
    std::size_t const index = list.size() == 0 ? 0 : random() % list.size();
    switch (list.size() == 0 ? 0 : random() % 10) {
    case 0:
    case 1:
    case 2:
    case 3:
        list.insert(index, color);
        break;
    case 4:
    case 5:
    case 6:
        list.removeAt(index);
        break;
    case 7:
    case 8:
        list.replace(index, color);
        break;
    default:
        list.setValues({color});
        break;
    }
}

} // namespace

TEST(Convergence, TwoClientsInsertingIntoOneListAtOnceEndWithTheServersList) {
    TestSupport::OperatorSites sites;
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    Cobalt::ColorPMA const fromA(1, 0, 0, 1);
    Cobalt::ColorPMA const fromB(0, 0, 1, 1);

    // Both insert in front before either hears of the other.
    presetsOf(a).insert(0, fromA);
    presetsOf(b).insert(0, fromB);
    sites.deliver();

    std::vector<Cobalt::ColorPMA> const server = serverPresets(sites);
    ASSERT_EQ(server.size(), SharedCanvas::annotationPresetsDefaults().size() + 2);
    EXPECT_EQ(presetsOf(a).values(), server) << "a holds the server's list";
    EXPECT_EQ(presetsOf(b).values(), server) << "b took the server's list back under its own insertion";
}

TEST(Convergence, AnEditRefusedBecauseTheListShrankUnderItHandsTheServersListBack) {
    TestSupport::OperatorSites sites;
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    std::size_t const last = presetsOf(a).size() - 1;

    // Both remove the last value; b's removal reaches the server when that index is gone.
    presetsOf(a).removeAt(last);
    presetsOf(b).removeAt(last);
    sites.deliver();

    std::vector<Cobalt::ColorPMA> const server = serverPresets(sites);
    EXPECT_EQ(server.size(), last) << "one value was removed";
    EXPECT_EQ(presetsOf(b).values(), server) << "b took the server's list back after the refusal";
}

TEST(Convergence, FourClientsEditingOneListValueByValueEndWithTheServersList) {
    TestSupport::OperatorSites sites;
    std::vector<LiveSites::Site*> clients;
    std::vector<TestSupport::ManualExecutor*> executors{&sites.serverExecutor()};
    for (QString name : {"a", "b", "c", "d"}) {
        clients.push_back(&sites.join(name));
        executors.push_back(&clients.back()->executor);
    }
    std::mt19937 random(20261125);
    for (int left = 2000; left > 0;) {
        if (random() % 2 == 0) {
            editAtRandom(*clients[random() % clients.size()], random);
            --left;
            continue;
        }
        executors[random() % executors.size()]->runOne();
    }
    sites.deliver();

    std::vector<Cobalt::ColorPMA> const server = serverPresets(sites);
    for (auto* client : clients) {
        EXPECT_EQ(presetsOf(*client).values(), server)
            << "client " << client->connection->connectionId() << " holds the server's list";
    }
}
