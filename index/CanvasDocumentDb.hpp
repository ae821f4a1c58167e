#pragma once

#include "attributes/Event.hpp"
#include "platform/tessel/AccessControl.hpp"

#include <QByteArray>

#include <map>
#include <memory>

namespace Datamodel {

class CanvasDocument;

/// Every live canvas record of the process, by the connection whose index holds it and its canvas id, so
/// that code outside any one index document can reach a record and hear when what a link grants changes.
/// Records put themselves in when they bind to their canvas and take themselves out when they die.
///
/// `instance` may be called from any thread; everything else takes no lock, so all records of one table
/// must be used from one thread, the one that applies the index documents' transactions.
class CanvasDocumentDb {
public:
    /// The table of the process, made when there is none. It lives as long as somebody holds it (every bound
    /// record does); once the last holder lets go, the next call makes a fresh, empty one.
    static std::shared_ptr<CanvasDocumentDb> instance();

    /// Enters `document` under (`connectionId`, its canvas id), replacing the record found there, then
    /// raises `onDocumentAdded`. Not owned.
    void add(unsigned connectionId, CanvasDocument* document);
    /// Drops the entry under (`connectionId`, the canvas id of `document`), whichever record it names, then
    /// raises `onDocumentRemoved`, even when there was no entry.
    void remove(unsigned connectionId, CanvasDocument* document);
    /// The record of `canvasId` in the index of connection `connectionId`; null when there is none. Owned
    /// by its index document.
    CanvasDocument* find(unsigned connectionId, QByteArray const& canvasId) const;
    /// What a link to `canvasId` grants, read from the first record of that canvas in order of connection
    /// id; "none" when no record of it is known.
    Tessel::Permission linkPermission(QByteArray const& canvasId) const;

    Basalt::Event<unsigned, CanvasDocument*> onDocumentAdded;
    Basalt::Event<unsigned, CanvasDocument*> onDocumentRemoved;
    /// A record's "link-permission" changed; with what it grants now, which may be what it granted before.
    Basalt::Event<CanvasDocument*, Tessel::Permission> onLinkPermissionChanged;

private:
    struct Key {
        unsigned connectionId;
        QByteArray canvasId;
    };
    /// By connection id, then by the bytes of the canvas id.
    struct KeyLess {
        bool operator()(Key const& left, Key const& right) const;
    };

    std::map<Key, CanvasDocument*, KeyLess> m_documents;

    static std::weak_ptr<CanvasDocumentDb> s_multiSingletonInstance;
};

} // namespace Datamodel
