#include "zenquor/media/detail/PictureGeometry.h"

#include <algorithm>
#include <iterator>

namespace zenquor::detail {
namespace {

// 41472/59 of 720 pixels are the picture of the 625-line system; whole pixels are told.
constexpr double clean625 = 41472 / 59;
static_assert(clean625 == 702);

constexpr PictureGeometry geometries[] = {
    {288, 243, false, {288, 240}, {10, 9}},       {288, 243, true, {288, 240}, {40, 27}},
    {352, 243, false, {352, 240}, {10, 11}},      {352, 243, true, {352, 240}, {40, 33}},
    {352, 288, false, {352, 288}, {59, 54}},      {352, 288, true, {352, 288}, {118, 81}},
    {720, 480, false, {704, 480}, {10, 11}},      {720, 480, true, {704, 480}, {40, 33}},
    {720, 486, false, {704, 486}, {10, 11}},      {720, 486, true, {704, 486}, {40, 33}},
    {720, 576, false, {clean625, 576}, {59, 54}}, {720, 576, true, {clean625, 576}, {118, 81}},
    {960, 540, true, {960, 540}, {1, 1}},         {960, 720, false, {960, 720}, {4, 3}},
    {1280, 720, true, {1280, 720}, {1, 1}},       {1280, 1080, true, {1280, 1080}, {3, 2}},
    {1440, 1080, true, {1440, 1080}, {4, 3}},     {1920, 1080, true, {1920, 1080}, {1, 1}},
    {3840, 2160, true, {3840, 2160}, {1, 1}},
};
static_assert(std::size(geometries) == 19);

}  // namespace

const PictureGeometry* pictureGeometryForSize(std::uint64_t width, std::uint64_t height, bool is16By9) {
    const auto* const row = std::find_if(std::begin(geometries), std::end(geometries), [&](const auto& g) {
        return g.width == width && g.height == height && g.is16By9 == is16By9;
    });
    return row == std::end(geometries) ? nullptr : row;
}

}  // namespace zenquor::detail
