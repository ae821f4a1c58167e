#include "platform/tessel/AccessControl.hpp"

#include "platform/basalt/Archive.hpp"
#include "platform/basalt/Node.hpp"
#include "platform/cobalt/BinaryData.hpp"
#include "platform/tessel/AttributeResourcePermissions.hpp"
#include "tests/support/CountingListener.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

using Basalt::Attribute;
using Tessel::AccessControlList;
using Tessel::AttributeResourcePermissions;
using Tessel::ResourcePermissions;

// Users 5 (edit, written at the top) and 7 (owner, one level down), group 3 (view); restricted.
ResourcePermissions sample() {
    ResourcePermissions permissions;
    permissions.acl.users.insert(5, {Tessel::PERMISSION_EDIT, 0});
    permissions.acl.users.insert(7, {Tessel::PERMISSION_OWNER, 1});
    permissions.acl.groups.insert(3, {Tessel::PERMISSION_VIEW, 0});
    permissions.restricted = true;
    return permissions;
}

char const* const sampleText = "user:5=2@0 user:7=3@1 group:3=1@0 restricted";

} // namespace

TEST(AccessControl, PermissionsAreTheNumbersZeroToFour) {
    struct Row {
        int value;
        bool isPermission;
    };
    Row const rows[] = {{-1, false}, {0, true}, {1, true}, {2, true}, {3, true}, {4, true}, {5, false}};
    for (Row const& row : rows) {
        EXPECT_EQ(Tessel::isPermission(row.value), row.isPermission) << row.value;
    }
    EXPECT_LT(Tessel::PERMISSION_OWNER, Tessel::PERMISSION_NOBODY) << "\"nobody\" wins any maximum";
}

// Each row changes one thing of the sample; the result must differ from the sample.
TEST(AccessControl, ListsAreEqualOnlyWithTheSameIdsPermissionsAndDepths) {
    struct Row {
        char const* change;
        std::function<void(ResourcePermissions&)> apply;
    };
    Row const rows[] = {
        {"a user's permission",
         [](ResourcePermissions& p) { p.acl.users[5].permission = Tessel::PERMISSION_VIEW; }},
        {"a user's depth", [](ResourcePermissions& p) { p.acl.users[5].depth = 2; }},
        {"a further user",
         [](ResourcePermissions& p) {
             p.acl.users.insert(8, {Tessel::PERMISSION_NONE, 0});
         }},
        {"a group's permission",
         [](ResourcePermissions& p) { p.acl.groups[3].permission = Tessel::PERMISSION_EDIT; }},
        {"a user entry moved to the groups",
         [](ResourcePermissions& p) { p.acl.groups.insert(5, p.acl.users.take(5)); }},
        {"the flag", [](ResourcePermissions& p) { p.restricted = false; }},
    };
    EXPECT_EQ(sample(), sample());
    for (Row const& row : rows) {
        ResourcePermissions changed = sample();
        row.apply(changed);
        EXPECT_NE(changed, sample()) << "changing " << row.change << " makes the permissions differ";
    }
    EXPECT_NE(sample().acl, AccessControlList());
    EXPECT_TRUE(AccessControlList().isEmpty());
}

TEST(AccessControl, TheTextFormListsUsersThenGroupsThenTheFlag) {
    EXPECT_EQ(Tessel::toText(sample()), QString::fromLatin1(sampleText));
    EXPECT_EQ(Tessel::toText(ResourcePermissions()), QString()) << "empty permissions have an empty text";
    ResourcePermissions read;
    ASSERT_TRUE(Tessel::fromText(QStringLiteral(" user:5=2@0\tuser:7=3@1\ngroup:3=1@0  restricted "), read));
    EXPECT_EQ(read, sample()) << "any white space separates tokens";
}

TEST(AccessControl, MalformedTextIsRefusedAndLeavesThePermissionsAlone) {
    char const* const rows[] = {"user:5=5@0", "user:5=-1@0",   "member:5=1@0", "user:five=1@0",
                                "user:5=1",   "user:5=edit@0", "restricted!",  "user:5=1@0,"};
    for (char const* text : rows) {
        ResourcePermissions permissions = sample();
        EXPECT_FALSE(Tessel::fromText(QString::fromLatin1(text), permissions)) << text;
        EXPECT_EQ(permissions, sample()) << "a refused text changes nothing: " << text;
    }
}

TEST(AccessControl, TheMessageFormRoundTripsAndATruncatedMessageIsRefused) {
    Cobalt::BinaryData written;
    Tessel::writeMessage(written, sample());
    Cobalt::BinaryData message(written.data());
    ResourcePermissions read;
    ASSERT_TRUE(Tessel::readMessage(message, read));
    EXPECT_EQ(read, sample());
    EXPECT_TRUE(message.atEnd()) << "the message holds exactly one value";

    Cobalt::BinaryData truncated(written.data().left(written.data().size() - 1));
    ResourcePermissions untouched;
    EXPECT_FALSE(Tessel::readMessage(truncated, untouched));
    EXPECT_EQ(untouched, ResourcePermissions()) << "a refused message changes nothing";
}

TEST(AccessControl, AMessageWithAPermissionOutOfRangeIsRefused) {
    Cobalt::BinaryData written;
    written.writeInt32(1);
    written.writeInt32(5);
    written.writeInt32(9); // no such permission
    written.writeInt32(0);
    written.writeInt32(0);
    written.writeBool(false);
    Cobalt::BinaryData message(written.data());
    ResourcePermissions read;
    EXPECT_FALSE(Tessel::readMessage(message, read));
    EXPECT_EQ(read, ResourcePermissions());
}

TEST(AttributeResourcePermissions, IsEmptyOnTheDefaultLayerAndNamesItsType) {
    Basalt::Node host;
    AttributeResourcePermissions attribute(&host, "permission-overrides");
    EXPECT_EQ(host.attribute("permission-overrides"), &attribute);
    EXPECT_EQ(attribute.type(), QByteArray("resource-permissions"));
    EXPECT_EQ(attribute.value(), ResourcePermissions());
    EXPECT_EQ(attribute.asString(), QString());
    EXPECT_FALSE(attribute.isChanged());
    EXPECT_TRUE(attribute.isValueDefinedOnLayer(Attribute::LAYER_DEFAULT));
    for (Attribute::Layer layer :
         {Attribute::LAYER_BELOW_USER, Attribute::LAYER_USER, Attribute::LAYER_ABOVE_USER}) {
        EXPECT_FALSE(attribute.isValueDefinedOnLayer(layer))
            << "the one value has no layer above the default";
    }
}

TEST(AttributeResourcePermissions, SettingNotifiesOnlyWhenTheValueChanges) {
    AttributeResourcePermissions attribute(nullptr, "p");
    TestSupport::CountingListener changes(attribute, [&attribute] {
        EXPECT_EQ(attribute.value(), sample()) << "listeners read the new value";
    });
    attribute.setValue(sample());
    EXPECT_EQ(changes.count(), 1);
    attribute.setValue(sample());
    EXPECT_EQ(changes.count(), 1) << "setting the same value notifies nobody";
    EXPECT_TRUE(attribute.isChanged());
    EXPECT_EQ(attribute.asString(), QString::fromLatin1(sampleText));
}

TEST(AttributeResourcePermissions, AnArchiveRoundTripGivesBackTheValue) {
    Basalt::Node written;
    AttributeResourcePermissions source(&written, "permission-overrides");
    source.setValue(sample());
    Basalt::Archive archive;
    archive.setRoot(written.serialize(archive));
    Basalt::Archive stored;
    ASSERT_TRUE(stored.fromJson(archive.toJson()));

    Basalt::Node read;
    AttributeResourcePermissions target(&read, "permission-overrides");
    TestSupport::CountingListener changes(target);
    ASSERT_TRUE(read.deserialize(stored.root()));
    EXPECT_EQ(target.value(), sample());
    EXPECT_EQ(changes.count(), 1);

    Basalt::ArchiveElement const element = source.serialize(archive);
    EXPECT_EQ(element.tag(), QStringLiteral("resource-permissions"));
    EXPECT_EQ(element.name(), QStringLiteral("permission-overrides"));
    EXPECT_EQ(element.property(QStringLiteral("type")), QStringLiteral("resource-permissions"));
    EXPECT_EQ(element.get(), QString::fromLatin1(sampleText));
}

TEST(AttributeResourcePermissions, AMalformedArchiveElementIsRefusedWithoutANotification) {
    AttributeResourcePermissions attribute(nullptr, "p");
    attribute.setValue(sample());
    TestSupport::CountingListener changes(attribute);
    Basalt::Archive archive;
    Basalt::ArchiveElement element = archive.createElement(QStringLiteral("resource-permissions"));
    element.set(QStringLiteral("user:5=owner@0"));
    EXPECT_FALSE(attribute.deserialize(element));
    EXPECT_EQ(attribute.value(), sample());
    EXPECT_EQ(changes.count(), 0);
}

TEST(AttributeResourcePermissions, AMessageRoundTripGivesBackTheValueAndABadOneIsDropped) {
    AttributeResourcePermissions attribute(nullptr, "p");
    TestSupport::CountingListener changes(attribute);
    Cobalt::BinaryData written;
    Tessel::writeMessage(written, sample());
    Cobalt::BinaryData message(written.data());
    attribute.eventProcess(QByteArray(), message);
    EXPECT_EQ(attribute.value(), sample());
    EXPECT_EQ(changes.count(), 1);

    Cobalt::BinaryData wrongType;
    wrongType.writeString("user:5=2@0");
    attribute.eventProcess(QByteArray(), wrongType);
    EXPECT_EQ(attribute.value(), sample()) << "a message that can't be read is dropped";
    EXPECT_EQ(changes.count(), 1);
}
