#pragma once

#include "attributes/AttributeBaseT.hpp"
#include "attributes/AttributeFwd.hpp"
#include "platform/cobalt/TimeStamp.hpp"

namespace Basalt {

/// A point in time. It has no `set` overloads: it is written with `setValue` or `=`.
template <>
class AttributeT<Cobalt::TimeStamp, void> : public AttributeBaseT<Cobalt::TimeStamp> {
public:
    AttributeT(Node* host, QByteArray const& name, Cobalt::TimeStamp defaultValue = Cobalt::TimeStamp())
        : AttributeBaseT<Cobalt::TimeStamp>(host, name, defaultValue) {}
    AttributeT() = default;

    AttributeT& operator=(Cobalt::TimeStamp value) {
        writeValue<AttributeT>(value, LAYER_USER);
        return *this;
    }
    void eventProcess(QByteArray const&, Cobalt::BinaryData& data) override {
        processScalar<AttributeT>(data);
    }
};

extern template class AttributeBaseT<Cobalt::TimeStamp>;

} // namespace Basalt
