#pragma once

#include "attributes/AttributeBaseT.hpp"
#include "attributes/AttributeFwd.hpp"
#include "attributes/EnumNames.hpp"
#include "platform/basalt/StyleValue.hpp"
#include "platform/cobalt/StringUtils.hpp"

#include <type_traits>

namespace Basalt {

/// What every enumeration attribute adds: its name table and whether numbers outside it are allowed.
class AttributeEnum {
public:
    AttributeEnum(EnumNames const& names, bool allowUnlisted)
        : m_names(&names), m_allowUnlisted(allowUnlisted) {}

    EnumNames const& names() const { return *m_names; }
    bool allowUnlisted() const { return m_allowUnlisted; }
    /// Lets `set(int)` write numbers that aren't in the table. Names must still be listed.
    void setAllowUnlisted(bool allow) { m_allowUnlisted = allow; }

protected:
    /// A name in any case, looked up in lower case (Latin-1).
    bool lookUp(QString const& name, int& value) const {
        return m_names->find(name.toLatin1().toLower(), value);
    }
    /// Whether `set(int)` may write this number.
    bool accepts(int value) const { return m_allowUnlisted || m_names->contains(value); }
    /// The listed name of a number, or its decimal digits.
    QString text(int value) const {
        QByteArray const name = m_names->name(value);
        return name.isNull() ? QString::number(value) : QString::fromLatin1(name);
    }

private:
    EnumNames const* m_names;
    bool m_allowUnlisted;
};

/// An attribute of an enumeration E. It holds the number; names serve at the edges. Messages carry the
/// name, archives the number.
template <typename E>
class AttributeT<E, std::enable_if_t<std::is_enum_v<E>>> : public AttributeBaseT<E>, public AttributeEnum {
public:
    using Layer = Attribute::Layer;
    using ValueUnit = Attribute::ValueUnit;

    AttributeT(Node* host, QByteArray const& name, E defaultValue, EnumNames const& names,
               bool allowUnlisted = false)
        : AttributeBaseT<E>(host, name, defaultValue), AttributeEnum(names, allowUnlisted) {}

    AttributeT& operator=(E value) {
        this->template writeValue<AttributeT>(value, Attribute::LAYER_USER);
        return *this;
    }

    /// A listed name, in any case. The unit must be unspecified.
    bool set(QString const& name, Layer layer = Attribute::LAYER_USER,
             ValueUnit unit = Attribute::UNIT_UNSPECIFIED) override {
        int value = 0;
        if (unit != Attribute::UNIT_UNSPECIFIED || !lookUp(name, value)) {
            return false;
        }
        write(value, layer);
        return true;
    }
    /// A listed number, or any number when unlisted ones are allowed.
    bool set(int value, Layer layer = Attribute::LAYER_USER,
             ValueUnit = Attribute::UNIT_UNSPECIFIED) override {
        if (!accepts(value)) {
            return false;
        }
        write(value, layer);
        return true;
    }
    /// One keyword component with no unit.
    bool set(StyleValue const& value, Layer layer = Attribute::LAYER_USER) override {
        if (value.size() != 1 || value.unit(0) != Attribute::UNIT_UNSPECIFIED) {
            return false;
        }
        return set(QString::fromLatin1(value.asKeyword(0)), layer, Attribute::UNIT_UNSPECIFIED);
    }
    /// The listed name, or the decimal number.
    QString asString(bool* ok = nullptr, Layer layer = Attribute::LAYER_CURRENT_VALUE) const override {
        if (ok) {
            *ok = true;
        }
        return text(static_cast<int>(this->valueForRead(layer)));
    }
    int asInt(bool* ok = nullptr, Layer layer = Attribute::LAYER_CURRENT_VALUE) const override {
        if (ok) {
            *ok = true;
        }
        return static_cast<int>(this->valueForRead(layer));
    }
    /// A number goes to `set(int)`, other text to `set(QString)`; false when that refuses.
    bool deserialize(ArchiveElement const& element) override {
        bool isNumber = false;
        int const number = element.get().toInt(&isNumber, 10);
        return isNumber ? set(number, Attribute::LAYER_USER, Attribute::UNIT_UNSPECIFIED)
                        : set(element.get(), Attribute::LAYER_USER, Attribute::UNIT_UNSPECIFIED);
    }
    /// Reads a name; an unknown name or a failed read drops the message.
    void eventProcess(QByteArray const&, Cobalt::BinaryData& data) override {
        QByteArray name;
        int value = 0;
        if (data.readString(name) && this->names().find(name.toLower(), value)) {
            write(value, Attribute::LAYER_USER);
        }
    }
    /// "enum:" and the enumeration's name.
    QByteArray type() const override {
        return QByteArrayLiteral("enum:") + Cobalt::StringUtils::demangle(typeid(E).name());
    }

private:
    void write(int value, Layer layer) {
        this->template writeValue<AttributeT>(static_cast<E>(value), layer);
    }
};

} // namespace Basalt
