#pragma once

#include <QByteArray>
#include <QVector>

namespace Tessel {

/// A plain set of attribute keys of an element type.
class AttributeGroup {
public:
    void addAttribute(QByteArray const& key) { m_keys.append(key); }
    QVector<QByteArray> const& keys() const { return m_keys; }

private:
    QVector<QByteArray> m_keys;
};

/// The groups of one element type: lock groups (keys locked as one while a user works on them) and one
/// plain group. The data model only declares them; the platform acts on them.
class AttributeGroups {
public:
    void addLockGroup(QVector<QByteArray> const& keys) { m_lockGroups.append(keys); }
    QVector<QVector<QByteArray>> const& lockGroups() const { return m_lockGroups; }

    AttributeGroup& group() { return m_group; }
    AttributeGroup const& group() const { return m_group; }
    /// Adds to the plain group.
    void addAttribute(QByteArray const& key) { m_group.addAttribute(key); }

private:
    QVector<QVector<QByteArray>> m_lockGroups;
    AttributeGroup m_group;
};

} // namespace Tessel
