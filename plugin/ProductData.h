#pragma once

#include <algorithm>
#include <array>
#include <string_view>

/// All data from the maker: the supported monitors and cameras, how they are recognised, and the
/// support article.
namespace ProductData {

/// Monitors that the software supports, by bare model name: series letters, four digits (size in
/// inches, model year), suffix letters.
inline constexpr std::array<std::string_view, 58> supportedDisplays = {
    "K2220H",  "K2420H",   "K2421H",   "K2422H",   "K2423H",  "K2720D",  "K2721H",   "K2722D",
    "K2790Z",  "K2221HX",  "K2222HX",  "K2422HX",  "K2423HX", "K2424HX", "K2425HX",  "K2421DX",
    "K2423DX", "K2424DX",  "K2425DX",  "K2721QX",  "K2722QX", "K2723QX", "K2724QX",  "K2725QX",
    "K2726QX", "K2723DX",  "K2724DX",  "K2725DX",  "K3221QX", "K3222QX", "K3223QX",  "K3225QX",
    "K3226QX", "K2724DTX", "K3824DWX", "K4025QWX", "J2421H",  "J2722D",  "J2723Q",   "J3222Q",
    "J2422HV", "J2424HV",  "J2724DV",  "J2725QV",  "J3424WV", "J3425WV", "J4924WQV", "Y2420H",
    "Y2720D",  "Y2422GX",  "Y2724GX",  "Y2725GX",  "Y3224GX", "Y3425GX", "Y3225QGX", "JK2724Q",
    "JK3225Q", "JK2725QV",
};

/// Monitors whose display chip answers again only after a clean request. Five of them are not
/// supported displays: they are older models that share the chip.
inline constexpr std::array<std::string_view, 27> specialChipDisplays = {
    "K2422H",  "K2423H",  "K2722D",  "K2422HX", "K2423HX", "K2424HX", "K2423DX",
    "K2424DX", "K2722QX", "K2723QX", "K2724QX", "K2723DX", "K2724DX", "K3222QX",
    "K3223QX", "J2722D",  "J2723Q",  "J2424HV", "J2724DV", "Y2422GX", "Y2724GX",
    "Y3224GX", "K2418H",  "K2718QX", "J2420D",  "J2719HV", "Y2419G",
};

/// The maker's three-letter PnP manufacturer ID, in lower case.
inline constexpr std::string_view manufacturerID = "vrn";

/// USB product IDs of the supported cameras, as formatted by "%X".
inline constexpr std::array<std::string_view, 6> cameraProductIDs = {"A7B1", "A7B9", "A7B4",
                                                                     "A7E2", "A7E1", "B5F0"};

/// The support article that lists the compatible models.
inline constexpr std::string_view supportArticle =
    "https://support.vorn.example/articles/compatible-models";

// Mistakes in the tables above fail the build.
namespace check {

struct Shape {
    std::size_t prefix = 0;
    std::size_t digits = 0;
    std::size_t suffix = 0;
};

constexpr bool isLetter(char c) {
    return c >= 'A' && c <= 'Z';
}
constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Lengths of the three parts of a model name; all 0 if it has another form.
constexpr Shape shapeOf(std::string_view name) {
    Shape shape;
    std::size_t at = 0;
    while (at < name.size() && isLetter(name[at])) ++at;
    shape.prefix = at;
    while (at < name.size() && isDigit(name[at])) ++at;
    shape.digits = at - shape.prefix;
    while (at < name.size() && isLetter(name[at])) ++at;
    shape.suffix = at - shape.prefix - shape.digits;
    return at == name.size() ? shape : Shape{};
}

template <class Table>
constexpr bool haveModelForm(const Table& names) {
    return std::all_of(names.begin(), names.end(), [](std::string_view name) {
        const Shape shape = shapeOf(name);
        return shape.prefix >= 1 && shape.prefix <= 2 && shape.digits == 4 && shape.suffix >= 1 &&
               shape.suffix <= 3;
    });
}

template <class Table>
constexpr bool contains(const Table& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

template <class Table>
constexpr bool areDistinct(const Table& names) {
    for (auto name = names.begin(); name != names.end(); ++name) {
        if (std::find(name + 1, names.end(), *name) != names.end()) return false;
    }
    return true;
}

constexpr auto countSupported(std::size_t prefix, std::size_t suffix) {
    return std::count_if(supportedDisplays.begin(), supportedDisplays.end(),
                         [=](std::string_view name) {
                             const Shape shape = shapeOf(name);
                             return shape.prefix == prefix && shape.suffix == suffix;
                         });
}

constexpr auto countSeries(char letter) {
    return std::count_if(
        supportedDisplays.begin(), supportedDisplays.end(),
        [=](std::string_view name) { return shapeOf(name).prefix == 1 && name[0] == letter; });
}

static_assert(haveModelForm(supportedDisplays) && haveModelForm(specialChipDisplays));
static_assert(areDistinct(supportedDisplays) && areDistinct(specialChipDisplays));
static_assert(countSeries('K') == 36 && countSeries('J') == 11 && countSeries('Y') == 8);
static_assert(countSupported(1, 1) == 15 && countSupported(1, 2) == 35 &&
              countSupported(1, 3) == 5);
static_assert(countSupported(2, 1) + countSupported(2, 2) == 3 && countSupported(2, 3) == 0);
static_assert(std::all_of(specialChipDisplays.begin(), specialChipDisplays.end(),
                          [](std::string_view name) {
                              const Shape shape = shapeOf(name);
                              return shape.prefix == 1 && shape.suffix <= 2;
                          }));
static_assert(std::count_if(specialChipDisplays.begin(), specialChipDisplays.end(),
                            [](std::string_view name) {
                                return contains(supportedDisplays, name);
                            }) == 22);

}  // namespace check
}  // namespace ProductData
