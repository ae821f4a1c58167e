#include "platform/cobalt/Color.hpp"

#include <QLatin1String>

#include <istream>
#include <optional>
#include <ostream>

namespace Cobalt {

namespace {

// The same set QByteArray::trimmed() strips, so whitespace means one thing throughout.
bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

int hexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Written so that NaN and -0 both come out as lo: callers then never store a negative zero.
double clampTo(double value, double lo, double hi) {
    if (!(value > lo))
        return lo;
    if (value > hi)
        return hi;
    return value;
}

float byteChannel(int byte) {
    return static_cast<float>(byte) / 255.0f;
}

// Only the CSS forms: Qt would also take #rrrgggbbb and #rrrrggggbbbb, and reads eight digits as
// #aarrggbb where CSS means #rrggbbaa, so none of the hex digits are left to QColor.
std::optional<Color> parseHex(char const* digits, int length) {
    if (length != 3 && length != 4 && length != 6 && length != 8)
        return std::nullopt;
    for (int i = 0; i < length; ++i) {
        if (hexValue(digits[i]) < 0)
            return std::nullopt;
    }
    int bytes[4] = {0, 0, 0, 255};
    if (length <= 4) {
        for (int i = 0; i < length; ++i)
            bytes[i] = hexValue(digits[i]) * 17; // 0xf -> 0xff
    } else {
        for (int i = 0; i < length / 2; ++i)
            bytes[i] = hexValue(digits[2 * i]) * 16 + hexValue(digits[2 * i + 1]);
    }
    return Color(byteChannel(bytes[0]), byteChannel(bytes[1]), byteChannel(bytes[2]), byteChannel(bytes[3]));
}

std::optional<Color> parseName(QByteArray const& text) {
    // Every CSS keyword is plain letters; checking that keeps out Qt's extras such as "light blue",
    // which it accepts because it ignores blanks inside names.
    for (char c : text) {
        if (!isLetter(c))
            return std::nullopt;
    }
    QByteArray const name = text.toLower();
    if (name == "transparent")
        return Color(0.0f, 0.0f, 0.0f, 0.0f);
    if (name == "rebeccapurple") // newer than the SVG list Qt 5 carries
        return Color(byteChannel(0x66), byteChannel(0x33), byteChannel(0x99), 1.0f);
    QColor qcolor;
    qcolor.setNamedColor(QLatin1String(name));
    if (!qcolor.isValid())
        return std::nullopt;
    return Color(byteChannel(qcolor.red()), byteChannel(qcolor.green()), byteChannel(qcolor.blue()),
                 byteChannel(qcolor.alpha()));
}

// One argument of rgb()/rgba(): a CSS number, optionally followed directly by '%'.
struct Argument {
    double value;
    bool percent;
};

class ArgumentReader {
public:
    ArgumentReader(char const* begin, char const* end) : pos_(begin), end_(end) {}

    void skipSpace() {
        while (pos_ != end_ && isSpace(*pos_))
            ++pos_;
    }

    bool take(char c) {
        if (pos_ == end_ || *pos_ != c)
            return false;
        ++pos_;
        return true;
    }

    bool atEnd() const { return pos_ == end_; }

    // CSS number grammar: [+-]? (digits | digits? '.' digits) ([eE] [+-]? digits)?. The token is
    // checked here so that QByteArray::toDouble never sees "nan", "inf" or hex floats.
    std::optional<Argument> readArgument() {
        char const* start = pos_;
        if (pos_ != end_ && (*pos_ == '+' || *pos_ == '-'))
            ++pos_;
        int const intDigits = skipDigits();
        int fracDigits = 0;
        if (pos_ != end_ && *pos_ == '.') {
            ++pos_;
            fracDigits = skipDigits();
            if (fracDigits == 0)
                return std::nullopt;
        }
        if (intDigits == 0 && fracDigits == 0)
            return std::nullopt;
        if (pos_ != end_ && (*pos_ == 'e' || *pos_ == 'E')) {
            char const* exponent = pos_ + 1;
            if (exponent != end_ && (*exponent == '+' || *exponent == '-'))
                ++exponent;
            if (exponent != end_ && isDigit(*exponent)) {
                pos_ = exponent;
                skipDigits();
            }
        }
        // toDouble reports failure on overflow and underflow but still returns +-inf or 0, which
        // the clamping below turns into the nearest valid value, as CSS would.
        double const value = QByteArray(start, static_cast<int>(pos_ - start)).toDouble();
        bool const percent = take('%');
        return Argument{value, percent};
    }

private:
    int skipDigits() {
        int count = 0;
        while (pos_ != end_ && isDigit(*pos_)) {
            ++pos_;
            ++count;
        }
        return count;
    }

    char const* pos_;
    char const* end_;
};

std::optional<Color> parseFunction(QByteArray const& text) {
    int const open = text.indexOf('(');
    if (open < 0)
        return std::nullopt;
    QByteArray const name = text.left(open).toLower();
    if (name != "rgb" && name != "rgba")
        return std::nullopt;

    ArgumentReader reader(text.constData() + open + 1, text.constData() + text.size());
    Argument args[4] = {};
    int count = 0;
    for (;;) {
        if (count == 4)
            return std::nullopt;
        reader.skipSpace();
        std::optional<Argument> arg = reader.readArgument();
        if (!arg)
            return std::nullopt;
        args[count++] = *arg;
        reader.skipSpace();
        if (reader.take(')'))
            break;
        if (!reader.take(','))
            return std::nullopt;
    }
    // The caller trimmed the text, so the ')' has to be the very last character.
    if (!reader.atEnd() || count < 3)
        return std::nullopt;
    // CSS has no mixed forms such as rgb(255, 50%, 0).
    if (args[0].percent != args[1].percent || args[0].percent != args[2].percent)
        return std::nullopt;

    float rgb[3];
    for (int i = 0; i < 3; ++i) {
        rgb[i] = args[i].percent ? static_cast<float>(clampTo(args[i].value, 0.0, 100.0)) / 100.0f
                                 : static_cast<float>(clampTo(args[i].value, 0.0, 255.0)) / 255.0f;
    }
    float alpha = 1.0f;
    if (count == 4) {
        alpha = args[3].percent ? static_cast<float>(clampTo(args[3].value, 0.0, 100.0)) / 100.0f
                                : static_cast<float>(clampTo(args[3].value, 0.0, 1.0));
    }
    return Color(rgb[0], rgb[1], rgb[2], alpha);
}

// NaN cannot be ordered, and QColor::fromRgbF rejects it, so it is treated as the low end.
qreal clampUnit(float value) {
    return clampTo(static_cast<double>(value), 0.0, 1.0);
}

} // namespace

Color::Color(char const* text) : Color() {
    if (text)
        set(QByteArray(text));
}

Color::Color(ColorPMA const& pma) : Color(fromPMA(pma)) {}

bool Color::set(QByteArray const& text) {
    QByteArray const trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return false;
    std::optional<Color> parsed;
    if (trimmed.startsWith('#'))
        parsed = parseHex(trimmed.constData() + 1, trimmed.size() - 1);
    else if (trimmed.contains('('))
        parsed = parseFunction(trimmed);
    else
        parsed = parseName(trimmed);
    if (!parsed)
        return false;
    *this = *parsed;
    return true;
}

QColor Color::toQColor() const {
    return QColor::fromRgbF(clampUnit(red), clampUnit(green), clampUnit(blue), clampUnit(alpha));
}

ColorPMA::ColorPMA(Color const& color) : ColorPMA(toPMA(color)) {}

ColorPMA toPMA(Color const& color) {
    return ColorPMA(color.red * color.alpha, color.green * color.alpha, color.blue * color.alpha,
                    color.alpha);
}

Color fromPMA(ColorPMA const& pma) {
    if (pma.alpha == 0.0f)
        return Color(pma.red, pma.green, pma.blue, pma.alpha);
    return Color(pma.red / pma.alpha, pma.green / pma.alpha, pma.blue / pma.alpha, pma.alpha);
}

namespace {

template <typename T>
std::ostream& writeComponents(std::ostream& out, T const& value) {
    return out << value.red << ' ' << value.green << ' ' << value.blue << ' ' << value.alpha;
}

// Reads into locals first so a half-read colour never reaches the caller.
template <typename T>
std::istream& readComponents(std::istream& in, T& value) {
    float r = 0.0f;
    float g = 0.0f;
    float b = 0.0f;
    float a = 0.0f;
    if (in >> r >> g >> b >> a)
        value = T(r, g, b, a);
    return in;
}

} // namespace

std::ostream& operator<<(std::ostream& out, Color const& color) {
    return writeComponents(out, color);
}

std::istream& operator>>(std::istream& in, Color& color) {
    return readComponents(in, color);
}

std::ostream& operator<<(std::ostream& out, ColorPMA const& pma) {
    return writeComponents(out, pma);
}

std::istream& operator>>(std::istream& in, ColorPMA& pma) {
    return readComponents(in, pma);
}

} // namespace Cobalt
