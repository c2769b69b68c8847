// The vector row kernels against their plain twins, and the plain twins against samples placed by hand.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "zenquor/platform/PixelTransferSession.h"
#include "zenquor/platform/detail/PixelKernels.h"

namespace zenquor::platform::detail {
namespace {

using Row = std::vector<std::uint8_t>;
using Row16 = std::vector<std::uint16_t>;
constexpr std::size_t widths[] = {1,  2,  3,  5,  6,  7,  8,   11,  12,  13,   16,  17,
                                  31, 33, 47, 48, 49, 95, 352, 719, 720, 1437, 1920};
constexpr std::uint8_t guard = 0xA5;
constexpr std::size_t guardBytes = 64;

Row randomRow(std::size_t bytes, unsigned seed) {
    std::mt19937 random(seed);
    Row row(bytes);
    for (auto& byte : row) byte = static_cast<std::uint8_t>(random());
    return row;
}
std::size_t evenWidth(std::size_t width) {
    return (width + 1) / 2 * 2;
}
std::size_t v210Bytes(std::size_t width) {
    return (width + 5) / 6 * 16;
}

// Runs a kernel into rows of exactly the size it may write, followed by bytes that it must leave alone.
template <typename Sample>
struct Output {
    explicit Output(std::size_t samples)
        : row(samples + guardBytes, static_cast<Sample>(guard)), used(samples) {}
    void expectGuard() const {
        for (std::size_t i = used; i < row.size(); ++i)
            ASSERT_EQ(row[i], guard) << "written " << i - used << " behind";
    }
    std::vector<Sample> row;
    std::size_t used;
};

TEST(PixelKernels, PackedKernelsEqualThePlainLoopsAndWriteNothingBehindTheRow) {
    for (const std::size_t width : widths) {
        SCOPED_TRACE(width);
        const Row v210 = randomRow(v210Bytes(width), 1), uyvy = randomRow(evenWidth(width) * 2, 2);
        const auto run = [&](const PixelKernels& k, Output<std::uint8_t>& packed8,
                             Output<std::uint8_t>& packed10) {
            k.v210To2vuy(v210.data(), packed8.row.data(), width);
            k.uyvyToV210(uyvy.data(), packed10.row.data(), width);
        };
        Output<std::uint8_t> fast8(evenWidth(width) * 2), plain8 = fast8, fast10(v210Bytes(width)),
                                                          plain10 = fast10;
        run(pixelKernels(), fast8, fast10);
        run(plainPixelKernels(), plain8, plain10);
        EXPECT_EQ(fast8.row, plain8.row);
        EXPECT_EQ(fast10.row, plain10.row);
        fast8.expectGuard();
        fast10.expectGuard();
        Row back(uyvy.size());
        pixelKernels().v210To2vuy(fast10.row.data(), back.data(), width);
        EXPECT_EQ(back, uyvy) << "8 to 10 to 8 bits is lossless";
    }
}

TEST(PixelKernels, PlanarKernelsEqualThePlainLoopsAndWriteNothingBehindTheRow) {
    for (const std::size_t width : widths) {
        SCOPED_TRACE(width);
        const Row v210 = randomRow(v210Bytes(width), 3), uyvy = randomRow(evenWidth(width) * 2, 4);
        for (const bool fromV210 : {true, false}) {
            const auto run = [&](const PixelKernels& k, auto& y, auto& cb, auto& cr) {
                (fromV210 ? k.v210ToPlanar10 : k.uyvyToPlanar10)(
                    fromV210 ? v210.data() : uyvy.data(), y.row.data(), cb.row.data(), cr.row.data(), width);
            };
            Output<std::uint16_t> y(width), cb((width + 1) / 2), cr = cb, plainY = y, plainCb = cb,
                                                                 plainCr = cb;
            run(pixelKernels(), y, cb, cr);
            run(plainPixelKernels(), plainY, plainCb, plainCr);
            EXPECT_EQ(y.row, plainY.row);
            EXPECT_EQ(cb.row, plainCb.row);
            EXPECT_EQ(cr.row, plainCr.row);
            for (const auto* output : {&y, &cb, &cr}) output->expectGuard();
        }
    }
}

TEST(PixelKernels, EightBitAndRGBKernelsEqualThePlainLoopsAndWriteNothingBehindTheRow) {
    for (const std::size_t width : widths) {
        SCOPED_TRACE(width);
        const Row uyvy = randomRow(evenWidth(width) * 2, 7), argb = randomRow(width * 4, 8);
        const auto run = [&](const PixelKernels& k, auto& y, auto& cb, auto& cr, auto& r, auto& g, auto& b) {
            k.uyvyToPlanar422(uyvy.data(), y.row.data(), cb.row.data(), cr.row.data(), width);
            k.argbToPlanarRGB10(argb.data(), r.row.data(), g.row.data(), b.row.data(), width);
        };
        Output<std::uint8_t> y(width), cb(evenWidth(width) / 2), cr = cb, y2 = y, cb2 = cb, cr2 = cb;
        Output<std::uint16_t> r(width), g = r, b = r, r2 = r, g2 = r, b2 = r;
        run(pixelKernels(), y, cb, cr, r, g, b);
        run(plainPixelKernels(), y2, cb2, cr2, r2, g2, b2);
        EXPECT_EQ(y.row, y2.row);
        EXPECT_EQ(cb.row, cb2.row);
        EXPECT_EQ(cr.row, cr2.row);
        EXPECT_EQ(r.row, r2.row);
        EXPECT_EQ(g.row, g2.row);
        EXPECT_EQ(b.row, b2.row);
        for (const auto* output : {&y, &cb, &cr}) output->expectGuard();
        for (const auto* output : {&r, &g, &b}) output->expectGuard();
        EXPECT_EQ(y2.row[0], uyvy[1]);
        EXPECT_EQ(cb2.row[0], uyvy[0]);
        EXPECT_EQ(cr2.row[0], uyvy[2]);
        EXPECT_NEAR(r2.row[width - 1], argb[width * 4 - 3] * 1023.0 / 255, 1) << "full range to full range";
    }
}

TEST(PixelKernels, SubsamplingKernelsEqualThePlainLoopsForEveryWeight) {
    for (const std::size_t width : widths) {
        for (const auto weight : {ChromaWeight::Even, ChromaWeight::ThreeToOne, ChromaWeight::OneToThree}) {
            SCOPED_TRACE(testing::Message() << width << " weight " << static_cast<int>(weight));
            const Row a = randomRow(evenWidth(width) * 2, 5), b = randomRow(evenWidth(width) * 2, 6);
            struct Planes {
                Output<std::uint8_t> firstY, secondY, c, cr;
            };
            const auto run = [&](const PixelKernels& k, bool semi) {
                Planes p{Output<std::uint8_t>(width), Output<std::uint8_t>(width),
                         Output<std::uint8_t>(semi ? evenWidth(width) : evenWidth(width) / 2),
                         Output<std::uint8_t>(evenWidth(width) / 2)};
                if (semi) {
                    k.uyvyToSemiPlanar(a.data(), b.data(), weight, p.firstY.row.data(), p.secondY.row.data(),
                                       p.c.row.data(), width);
                } else {
                    k.uyvyToPlanar(a.data(), b.data(), weight, p.firstY.row.data(), p.secondY.row.data(),
                                   p.c.row.data(), p.cr.row.data(), width);
                }
                return p;
            };
            for (const bool semi : {true, false}) {
                const Planes fast = run(pixelKernels(), semi), plain = run(plainPixelKernels(), semi);
                EXPECT_EQ(fast.firstY.row, plain.firstY.row);
                EXPECT_EQ(fast.secondY.row, plain.secondY.row);
                EXPECT_EQ(fast.c.row, plain.c.row);
                EXPECT_EQ(fast.cr.row, plain.cr.row);
                for (const auto* output : {&fast.firstY, &fast.secondY, &fast.c, &fast.cr})
                    output->expectGuard();
            }
        }
    }
}

// One group with a different value in each place, as the v210 layout puts them.
TEST(PixelKernels, V210PlacesAreThoseOfTheLayout) {
    const auto word = [](unsigned a, unsigned b, unsigned c) { return a | b << 10 | c << 20; };
    const std::uint32_t words[] = {word(100, 200, 300), word(204, 104, 208), word(304, 212, 108),
                                   word(216, 308, 1023)};
    Row group(16);
    for (std::size_t i = 0; i < 16; ++i) group[i] = static_cast<std::uint8_t>(words[i / 4] >> (8 * (i % 4)));
    Row16 y(6), cb(3), cr(3);
    plainPixelKernels().v210ToPlanar10(group.data(), y.data(), cb.data(), cr.data(), 6);
    EXPECT_EQ(y, (Row16{200, 204, 208, 212, 216, 1023}));
    EXPECT_EQ(cb, (Row16{100, 104, 108}));
    EXPECT_EQ(cr, (Row16{300, 304, 308}));
    Row packed(16), eight(12);
    plainPixelKernels().planar10ToV210(y.data(), cb.data(), cr.data(), packed.data(), 6);
    EXPECT_EQ(packed, group);
    plainPixelKernels().v210To2vuy(group.data(), eight.data(), 6);
    EXPECT_EQ(eight, (Row{25, 50, 75, 51, 26, 52, 76, 53, 27, 54, 77, 255}))
        << "1023 rounds up and stays 255";
    plainPixelKernels().uyvyToV210(eight.data(), packed.data(), 6);
    EXPECT_EQ(packed[0], 100) << "25 << 2 in the lowest bits";
}

PixelBufferPtr picture(std::uint32_t width, std::uint32_t height, FourCC format) {
    PixelBufferPtr buffer;
    EXPECT_EQ(PixelBuffer::create(width, height, format, buffer), noErr);
    return buffer;
}

TEST(PixelTransferSession, ScalesInterlacedPicturesFieldByField) {
    // The top field is white, the bottom field black; whatever the height, no field may take light from the
    // other.
    auto from = picture(64, 64, pixelFormat2vuy), to = picture(64, 32, pixelFormatV210);
    for (std::uint32_t y = 0; y < 64; ++y) {
        for (std::uint32_t x = 0; x < 128; ++x)
            from->mutableRow(y)[x] = x % 2 == 0 ? 128 : y % 2 == 0 ? 235 : 16;
    }
    PixelTransferSession session;
    session.setInterlaced(true);
    ASSERT_EQ(session.transferImage(*from, *to), noErr);
    Row16 y(64), cb(32), cr(32);
    for (std::uint32_t row = 0; row < 32; ++row) {
        plainPixelKernels().v210ToPlanar10(to->row(row), y.data(), cb.data(), cr.data(), 64);
        EXPECT_NEAR(y[30], row % 2 == 0 ? 940 : 64, 4) << row;
        EXPECT_NEAR(cb[10], 512, 4);
    }
}

TEST(PixelTransferSession, TurnsLightIntoVideoLevelsAndKnowsItsFormats) {
    auto from = picture(32, 720, pixelFormat32BGRA), to = picture(32, 720, pixelFormat2vuy);
    for (std::uint32_t y = 0; y < 720; ++y) {
        for (std::uint32_t x = 0; x < 32; ++x) {
            const std::uint8_t red[] = {0, 0, 255, 255};
            std::copy(red, red + 4, from->mutableRow(y) + x * 4);
        }
    }
    PixelTransferSession session;
    ASSERT_EQ(session.transferImage(*from, *to), noErr);
    // Full red in ITU-R BT.709: Y' 63, Cb 102, Cr 240.
    EXPECT_NEAR(to->row(100)[20], 102, 1);
    EXPECT_NEAR(to->row(100)[21], 63, 1);
    EXPECT_NEAR(to->row(100)[22], 240, 1);
}

}  // namespace
}  // namespace zenquor::platform::detail
