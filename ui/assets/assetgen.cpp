// orvane_assetgen: build-time tool that turns the SVG sources of ui/assets
// into the PNG/JPG/GIF files packed into the application's resource.
//
//   orvane_assetgen [--fontdir DIR] render IN.svg OUT.(png|jpg) WIDTH HEIGHT
//   orvane_assetgen [--fontdir DIR] spin   IN.svg OUT.gif WIDTH HEIGHT FRAMES DELAY_CS
//   orvane_assetgen [--fontdir DIR] sheet  OUT.png FILE...
//   orvane_assetgen families FONT.ttf...
//
// "render" draws the SVG scaled to WIDTH x HEIGHT (JPG gets a white ground).
// "spin" renders FRAMES frames of an SVG whose text contains the placeholder
// @ANGLE@ (replaced by frame * 360 / FRAMES) and writes a looping GIF89a with
// DELAY_CS hundredths of a second per frame; partially transparent pixels are
// blended over a near-white matte and fully transparent ones stay transparent.
// "sheet" composes the given images into one labelled overview picture.
// "families" prints the family names Qt registers for each font file.

#include <QByteArray>
#include <QColor>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFont>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QImage>
#include <QImageReader>
#include <QPainter>
#include <QStringList>
#include <QSvgRenderer>
#include <QTextStream>
#include <QVector>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <map>
#include <vector>

namespace {

int fail(const QString &message)
{
    std::fprintf(stderr, "orvane_assetgen: %s\n", qPrintable(message));
    return 1;
}

bool loadFonts(const QString &dir)
{
    if (dir.isEmpty())
        return true;
    const QStringList files = QDir(dir).entryList({QStringLiteral("*.ttf")}, QDir::Files);
    for (const QString &f : files) {
        if (QFontDatabase::addApplicationFont(QDir(dir).filePath(f)) < 0)
            return false;
    }
    return true;
}

QImage renderSvg(const QByteArray &svg, int width, int height, const QColor &ground)
{
    QSvgRenderer renderer(svg);
    if (!renderer.isValid())
        return QImage();
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    image.fill(ground);
    QPainter painter(&image);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform
                           | QPainter::TextAntialiasing);
    renderer.render(&painter, QRectF(0, 0, width, height));
    painter.end();
    return image;
}

bool readFile(const QString &path, QByteArray *out)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    *out = file.readAll();
    return true;
}

bool toInt(const QString &text, int *value, int minimum)
{
    bool ok = false;
    *value = text.toInt(&ok);
    return ok && *value >= minimum;
}

int render(const QStringList &args)
{
    if (args.size() != 4)
        return fail(QStringLiteral("render: expected IN OUT WIDTH HEIGHT"));
    int width = 0, height = 0;
    if (!toInt(args[2], &width, 1) || !toInt(args[3], &height, 1))
        return fail(QStringLiteral("render: bad size"));
    QByteArray svg;
    if (!readFile(args[0], &svg))
        return fail(QStringLiteral("cannot read %1").arg(args[0]));
    const QString suffix = QFileInfo(args[1]).suffix().toLower();
    const bool opaque = suffix == QLatin1String("jpg") || suffix == QLatin1String("jpeg");
    QImage image = renderSvg(svg, width, height, opaque ? QColor(Qt::white) : QColor(Qt::transparent));
    if (image.isNull())
        return fail(QStringLiteral("invalid SVG %1").arg(args[0]));
    if (opaque)
        image = image.convertToFormat(QImage::Format_RGB32);
    else
        image = image.convertToFormat(QImage::Format_ARGB32);
    QDir().mkpath(QFileInfo(args[1]).absolutePath());
    if (!image.save(args[1], nullptr, opaque ? 92 : -1))
        return fail(QStringLiteral("cannot write %1").arg(args[1]));
    return 0;
}

// ---------------------------------------------------------------- GIF writer

struct Rgb {
    uint8_t r, g, b;
};

// Median-cut quantisation of the colours in `colours` (with their counts)
// into at most `maximum` palette entries.
std::vector<Rgb> medianCut(const std::map<uint32_t, uint32_t> &colours, size_t maximum)
{
    struct Entry {
        uint32_t rgb;
        uint32_t count;
    };
    std::vector<Entry> all;
    for (const auto &c : colours)
        all.push_back({c.first, c.second});
    std::vector<Rgb> palette;
    if (all.empty())
        return palette;
    if (all.size() <= maximum) {
        for (const Entry &e : all)
            palette.push_back({uint8_t(e.rgb >> 16), uint8_t(e.rgb >> 8), uint8_t(e.rgb)});
        return palette;
    }
    using Box = std::pair<size_t, size_t>; // [begin, end) in `all`
    std::vector<Box> boxes{{0, all.size()}};
    auto channel = [](uint32_t rgb, int c) { return int((rgb >> (16 - 8 * c)) & 0xff); };
    while (boxes.size() < maximum) {
        // Split the box with the widest channel range (weighted by pixels).
        size_t best = boxes.size();
        int bestChannel = 0;
        double bestScore = 0;
        for (size_t i = 0; i < boxes.size(); ++i) {
            if (boxes[i].second - boxes[i].first < 2)
                continue;
            uint64_t pixels = 0;
            for (int c = 0; c < 3; ++c) {
                int lo = 255, hi = 0;
                for (size_t k = boxes[i].first; k < boxes[i].second; ++k) {
                    lo = std::min(lo, channel(all[k].rgb, c));
                    hi = std::max(hi, channel(all[k].rgb, c));
                }
                if (c == 0)
                    for (size_t k = boxes[i].first; k < boxes[i].second; ++k)
                        pixels += all[k].count;
                const double score = double(hi - lo) * (1.0 + std::log2(double(pixels) + 1.0));
                if (score > bestScore) {
                    bestScore = score;
                    best = i;
                    bestChannel = c;
                }
            }
        }
        if (best == boxes.size())
            break;
        const Box box = boxes[best];
        std::sort(all.begin() + long(box.first), all.begin() + long(box.second),
                  [&](const Entry &a, const Entry &b) {
                      return channel(a.rgb, bestChannel) < channel(b.rgb, bestChannel);
                  });
        uint64_t total = 0;
        for (size_t k = box.first; k < box.second; ++k)
            total += all[k].count;
        uint64_t running = 0;
        size_t split = box.first + 1;
        for (size_t k = box.first; k < box.second - 1; ++k) {
            running += all[k].count;
            split = k + 1;
            if (running * 2 >= total)
                break;
        }
        boxes[best] = {box.first, split};
        boxes.push_back({split, box.second});
    }
    for (const Box &box : boxes) {
        uint64_t r = 0, g = 0, b = 0, n = 0;
        for (size_t k = box.first; k < box.second; ++k) {
            r += uint64_t(channel(all[k].rgb, 0)) * all[k].count;
            g += uint64_t(channel(all[k].rgb, 1)) * all[k].count;
            b += uint64_t(channel(all[k].rgb, 2)) * all[k].count;
            n += all[k].count;
        }
        palette.push_back({uint8_t((r + n / 2) / n), uint8_t((g + n / 2) / n), uint8_t((b + n / 2) / n)});
    }
    return palette;
}

class BitWriter
{
public:
    explicit BitWriter(QByteArray *out) : m_out(out) {}
    void write(uint32_t code, int bits)
    {
        m_acc |= code << m_count;
        m_count += bits;
        while (m_count >= 8) {
            push(uint8_t(m_acc & 0xff));
            m_acc >>= 8;
            m_count -= 8;
        }
    }
    void finish()
    {
        if (m_count > 0)
            push(uint8_t(m_acc & 0xff));
        m_acc = 0;
        m_count = 0;
        flushBlock();
        m_out->append(char(0)); // block terminator
    }

private:
    void push(uint8_t byte)
    {
        m_block.append(char(byte));
        if (m_block.size() == 255)
            flushBlock();
    }
    void flushBlock()
    {
        if (m_block.isEmpty())
            return;
        m_out->append(char(m_block.size()));
        m_out->append(m_block);
        m_block.clear();
    }
    QByteArray *m_out;
    QByteArray m_block;
    uint32_t m_acc = 0;
    int m_count = 0;
};

// Writes the LZW-compressed image data (minimum code size + sub-blocks).
void lzwEncode(const std::vector<uint8_t> &indices, int minCodeSize, QByteArray *out)
{
    out->append(char(minCodeSize));
    BitWriter bits(out);
    const uint32_t clear = 1u << minCodeSize;
    const uint32_t end = clear + 1;
    std::map<uint32_t, uint32_t> table; // (prefix << 8 | byte) -> code
    uint32_t next = end + 1;
    int width = minCodeSize + 1;
    bits.write(clear, width);
    if (indices.empty()) {
        bits.write(end, width);
        bits.finish();
        return;
    }
    uint32_t prefix = indices[0];
    for (size_t i = 1; i < indices.size(); ++i) {
        const uint32_t key = (prefix << 8) | indices[i];
        const auto found = table.find(key);
        if (found != table.end()) {
            prefix = found->second;
            continue;
        }
        bits.write(prefix, width);
        if (next < 4096) {
            table.emplace(key, next);
            if (next == (1u << width) && width < 12)
                ++width;
            ++next;
        } else {
            bits.write(clear, width);
            table.clear();
            next = end + 1;
            width = minCodeSize + 1;
        }
        prefix = indices[i];
    }
    bits.write(prefix, width);
    bits.write(end, width);
    bits.finish();
}

void putShort(QByteArray *out, int value)
{
    out->append(char(value & 0xff));
    out->append(char((value >> 8) & 0xff));
}

bool writeGif(const QString &path, const QVector<QImage> &frames, int delayCs)
{
    const QColor matte(0xFA, 0xFA, 0xFA);
    const int w = frames.first().width();
    const int h = frames.first().height();
    // Flatten: alpha < 50% becomes transparent, the rest is blended on the matte.
    QVector<QVector<int>> flat; // -1 = transparent, else 0xRRGGBB
    std::map<uint32_t, uint32_t> counts;
    for (const QImage &frameIn : frames) {
        const QImage frame = frameIn.convertToFormat(QImage::Format_ARGB32);
        QVector<int> px(w * h);
        for (int y = 0; y < h; ++y) {
            const QRgb *line = reinterpret_cast<const QRgb *>(frame.constScanLine(y));
            for (int x = 0; x < w; ++x) {
                const QRgb c = line[x];
                const int a = qAlpha(c);
                if (a < 128) {
                    px[y * w + x] = -1;
                    continue;
                }
                auto mix = [a](int fg, int bg) { return (fg * a + bg * (255 - a) + 127) / 255; };
                const uint32_t rgb = uint32_t(mix(qRed(c), matte.red()) << 16
                                              | mix(qGreen(c), matte.green()) << 8
                                              | mix(qBlue(c), matte.blue()));
                px[y * w + x] = int(rgb);
                ++counts[rgb];
            }
        }
        flat.push_back(px);
    }
    std::vector<Rgb> palette = medianCut(counts, 255);
    const int transparent = int(palette.size());
    palette.push_back(Rgb{uint8_t(matte.red()), uint8_t(matte.green()), uint8_t(matte.blue())});
    int bitsPerEntry = 1;
    while ((1 << bitsPerEntry) < int(palette.size()))
        ++bitsPerEntry;
    palette.resize(size_t(1) << bitsPerEntry, Rgb{0, 0, 0});

    std::map<uint32_t, uint8_t> lookup;
    auto nearest = [&](uint32_t rgb) {
        const auto found = lookup.find(rgb);
        if (found != lookup.end())
            return found->second;
        const int r = int(rgb >> 16) & 0xff, g = int(rgb >> 8) & 0xff, b = int(rgb) & 0xff;
        int best = 0;
        long bestDistance = -1;
        for (int i = 0; i < transparent; ++i) {
            const long dr = r - palette[size_t(i)].r, dg = g - palette[size_t(i)].g,
                       db = b - palette[size_t(i)].b;
            const long d = 3 * dr * dr + 4 * dg * dg + 2 * db * db;
            if (bestDistance < 0 || d < bestDistance) {
                bestDistance = d;
                best = i;
            }
        }
        lookup.emplace(rgb, uint8_t(best));
        return uint8_t(best);
    };

    QByteArray out("GIF89a");
    putShort(&out, w);
    putShort(&out, h);
    out.append(char(0x80 | 0x70 | (bitsPerEntry - 1))); // global table, 8-bit colour resolution
    out.append(char(transparent));                        // background colour index
    out.append(char(0));                                  // aspect ratio
    for (const Rgb &c : palette) {
        out.append(char(c.r));
        out.append(char(c.g));
        out.append(char(c.b));
    }
    // Loop forever.
    out.append("\x21\xff\x0bNETSCAPE2.0\x03\x01", 16);
    putShort(&out, 0);
    out.append(char(0));

    const int minCodeSize = std::max(2, bitsPerEntry);
    for (const QVector<int> &px : flat) {
        out.append("\x21\xf9\x04", 3);
        out.append(char((2 << 2) | 1)); // dispose to background, has transparency
        putShort(&out, delayCs);
        out.append(char(transparent));
        out.append(char(0));

        out.append(char(0x2c));
        putShort(&out, 0);
        putShort(&out, 0);
        putShort(&out, w);
        putShort(&out, h);
        out.append(char(0)); // no local table, not interlaced
        std::vector<uint8_t> indices(size_t(w) * size_t(h));
        for (int i = 0; i < w * h; ++i)
            indices[size_t(i)] = px[i] < 0 ? uint8_t(transparent) : nearest(uint32_t(px[i]));
        lzwEncode(indices, minCodeSize, &out);
    }
    out.append(char(0x3b));

    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return file.write(out) == out.size();
}

int spin(const QStringList &args)
{
    if (args.size() != 6)
        return fail(QStringLiteral("spin: expected IN OUT WIDTH HEIGHT FRAMES DELAY_CS"));
    int width = 0, height = 0, frames = 0, delay = 0;
    if (!toInt(args[2], &width, 1) || !toInt(args[3], &height, 1) || !toInt(args[4], &frames, 1)
        || !toInt(args[5], &delay, 1))
        return fail(QStringLiteral("spin: bad number"));
    QByteArray svg;
    if (!readFile(args[0], &svg))
        return fail(QStringLiteral("cannot read %1").arg(args[0]));
    if (!svg.contains("@ANGLE@"))
        return fail(QStringLiteral("%1 has no @ANGLE@ placeholder").arg(args[0]));
    QVector<QImage> images;
    for (int i = 0; i < frames; ++i) {
        QByteArray text = svg;
        text.replace("@ANGLE@", QByteArray::number(360.0 * i / frames, 'f', 4));
        const QImage image = renderSvg(text, width, height, Qt::transparent);
        if (image.isNull())
            return fail(QStringLiteral("invalid SVG %1").arg(args[0]));
        images.push_back(image);
    }
    if (!writeGif(args[1], images, delay))
        return fail(QStringLiteral("cannot write %1").arg(args[1]));
    return 0;
}

// ------------------------------------------------------------- contact sheet

int sheet(const QStringList &args)
{
    if (args.size() < 2)
        return fail(QStringLiteral("sheet: expected OUT FILE..."));
    struct Item {
        QString name;
        QVector<QImage> frames;
    };
    QVector<Item> items;
    for (int i = 1; i < args.size(); ++i) {
        QImageReader reader(args[i]);
        Item item{QFileInfo(args[i]).fileName(), {}};
        QImage image;
        while (reader.read(&image)) {
            item.frames.push_back(image);
            if (item.frames.size() >= 6)
                break;
        }
        if (item.frames.isEmpty())
            return fail(QStringLiteral("cannot read %1: %2").arg(args[i], reader.errorString()));
        items.push_back(item);
    }
    // Bands and the animation get a row of their own; the other pictures are
    // shown at their pixel size on white, light grey and purple grounds.
    const int label = 26, margin = 16, columns = 2, sheetWidth = 1420;
    const QColor grounds[] = {QColor("#FFFFFF"), QColor("#F5F5F5"), QColor("#7030C5")};
    QVector<Item> wide, icons;
    for (const Item &item : items)
        (item.frames.first().width() > 600 || item.frames.size() > 1 ? wide : icons).push_back(item);
    const int cellW = (sheetWidth - margin * (columns + 1)) / columns;
    const int stripW = cellW / 3;
    int height = margin;
    for (const Item &item : wide)
        height += label + item.frames.first().height() / 2 + margin;
    QVector<int> rowHeights;
    for (int i = 0; i < icons.size(); i += columns) {
        int h = 0;
        for (int j = i; j < std::min(int(icons.size()), i + columns); ++j)
            h = std::max(h, std::min(icons[j].frames.first().height(), 260) + 20);
        rowHeights.push_back(h);
        height += label + h + margin;
    }

    QImage out(sheetWidth, height, QImage::Format_ARGB32);
    out.fill(QColor("#E0E0E0"));
    QPainter p(&out);
    p.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform | QPainter::TextAntialiasing);
    QFont font(QStringLiteral("Open Sans"));
    font.setPixelSize(15);
    font.setBold(true);
    p.setFont(font);
    p.setPen(QColor("#333333"));
    int y = margin;
    for (const Item &item : wide) {
        const QImage &first = item.frames.first();
        const bool animated = item.frames.size() > 1;
        p.drawText(margin, y + 18, QStringLiteral("%1  %2x%3, shown at half size%4")
                                       .arg(item.name)
                                       .arg(first.width())
                                       .arg(first.height())
                                       .arg(animated ? QStringLiteral(", first frames") : QString()));
        y += label;
        int x = margin;
        for (const QImage &f : item.frames) {
            const QRect area(QPoint(x, y), f.size() / 2);
            if (area.right() > sheetWidth)
                break;
            p.fillRect(area, animated ? QColor("#FAFAFA") : QColor(Qt::white));
            p.drawImage(area, f);
            x += area.width() + 8;
        }
        y += first.height() / 2 + margin;
    }
    for (int i = 0; i < icons.size(); ++i) {
        const int cx = margin + (i % columns) * (cellW + margin);
        const int rowH = rowHeights[i / columns];
        const QImage &img = icons[i].frames.first();
        p.drawText(QRect(cx, y, cellW, label), Qt::AlignLeft | Qt::AlignVCenter,
                   QStringLiteral("%1  %2x%3 (display %4x%5)")
                       .arg(icons[i].name)
                       .arg(img.width())
                       .arg(img.height())
                       .arg(img.width() / 2)
                       .arg(img.height() / 2));
        for (int g = 0; g < 3; ++g) {
            const QRect area(cx + g * stripW, y + label, stripW, rowH);
            p.fillRect(area, grounds[g]);
            QSize s = img.size();
            if (s.width() > area.width() - 12 || s.height() > area.height() - 12)
                s.scale(area.size() - QSize(12, 12), Qt::KeepAspectRatio);
            p.drawImage(QRect(area.center() - QPoint(s.width() / 2, s.height() / 2), s), img);
        }
        if (i % columns == columns - 1 || i == icons.size() - 1)
            y += label + rowH + margin;
    }
    p.end();
    if (!out.save(args[0]))
        return fail(QStringLiteral("cannot write %1").arg(args[0]));
    return 0;
}

int families(const QStringList &args)
{
    QTextStream out(stdout);
    for (const QString &file : args) {
        const int id = QFontDatabase::addApplicationFont(file);
        if (id < 0)
            return fail(QStringLiteral("cannot load %1").arg(file));
        const QStringList names = QFontDatabase::applicationFontFamilies(id);
        QStringList styles;
        QFontDatabase db;
        for (const QString &name : names)
            styles << db.styles(name).join(QLatin1Char(','));
        out << QFileInfo(file).fileName() << ": " << names.join(QLatin1Char(';')) << " ["
            << styles.join(QLatin1Char(';')) << "]\n";
    }
    return 0;
}

// Qt complains about an unset XDG_RUNTIME_DIR in build sandboxes; that is
// noise here. Everything else (SVG parser warnings included) is kept.
void messageHandler(QtMsgType, const QMessageLogContext &, const QString &message)
{
    if (message.contains(QLatin1String("XDG_RUNTIME_DIR")))
        return;
    std::fprintf(stderr, "%s\n", qPrintable(message));
}

} // namespace

int main(int argc, char **argv)
{
    // Never needs a display: render off screen whatever the environment says.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler(messageHandler);
    QGuiApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    QString fontDir;
    if (args.size() >= 2 && args[0] == QLatin1String("--fontdir")) {
        fontDir = args[1];
        args = args.mid(2);
    }
    if (!loadFonts(fontDir))
        return fail(QStringLiteral("cannot load fonts from %1").arg(fontDir));
    if (args.isEmpty())
        return fail(QStringLiteral("usage: orvane_assetgen [--fontdir DIR] render|spin|sheet|families ..."));
    const QString command = args.takeFirst();
    if (command == QLatin1String("render"))
        return render(args);
    if (command == QLatin1String("spin"))
        return spin(args);
    if (command == QLatin1String("sheet"))
        return sheet(args);
    if (command == QLatin1String("families"))
        return families(args);
    return fail(QStringLiteral("unknown command %1").arg(command));
}
