#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

/// All data from the maker: the supported monitors and cameras, how they are recognised, and the
/// support article. To add a model or a camera, add its name here, in any place: nothing else
/// repeats it.
namespace ProductData {

/// Monitors that the software supports, by bare model name: series letters, four digits (size in
/// inches, model year), suffix letters.
inline constexpr auto supportedDisplays = std::to_array<std::string_view>({
    "K2220H",  "K2420H",   "K2421H",   "K2422H",   "K2423H",  "K2720D",  "K2721H",   "K2722D",
    "K2790Z",  "K2221HX",  "K2222HX",  "K2422HX",  "K2423HX", "K2424HX", "K2425HX",  "K2421DX",
    "K2423DX", "K2424DX",  "K2425DX",  "K2721QX",  "K2722QX", "K2723QX", "K2724QX",  "K2725QX",
    "K2726QX", "K2723DX",  "K2724DX",  "K2725DX",  "K3221QX", "K3222QX", "K3223QX",  "K3225QX",
    "K3226QX", "K2724DTX", "K3824DWX", "K4025QWX", "J2421H",  "J2722D",  "J2723Q",   "J3222Q",
    "J2422HV", "J2424HV",  "J2724DV",  "J2725QV",  "J3424WV", "J3425WV", "J4924WQV", "Y2420H",
    "Y2720D",  "Y2422GX",  "Y2724GX",  "Y2725GX",  "Y3224GX", "Y3425GX", "Y3225QGX", "JK2724Q",
    "JK3225Q", "JK2725QV",
});

/// Monitors whose display chip answers again only after a clean request; older models that share
/// the chip are among them, and are not supported.
inline constexpr auto specialChipDisplays = std::to_array<std::string_view>({
    "K2422H",  "K2423H",  "K2722D",  "K2422HX", "K2423HX", "K2424HX", "K2423DX",
    "K2424DX", "K2722QX", "K2723QX", "K2724QX", "K2723DX", "K2724DX", "K3222QX",
    "K3223QX", "J2722D",  "J2723Q",  "J2424HV", "J2724DV", "Y2422GX", "Y2724GX",
    "Y3224GX", "K2418H",  "K2718QX", "J2420D",  "J2719HV", "Y2419G",
});

/// The maker's three-letter PnP manufacturer ID, in lower case.
inline constexpr std::string_view manufacturerID = "vrn";

/// A supported monitor answers this VCP code, one of the maker's own, with this bit in its current
/// value.
inline constexpr std::uint8_t confirmationCode = 0xF1;
inline constexpr std::uint16_t confirmationBit = 0x4000;

/// USB product IDs of the supported cameras, as formatted by "%X".
inline constexpr auto cameraProductIDs =
    std::to_array<std::string_view>({"A7B1", "A7B9", "A7B4", "A7E2", "A7E1", "B5F0"});

/// The support article that lists the compatible models.
inline constexpr std::string_view supportArticle =
    "https://support.vorn.example/articles/compatible-models";

// Mistakes in the tables above fail the build.
namespace check {

template <class Character>
constexpr std::size_t countFrom(std::string_view text, std::size_t begin, Character is) {
    std::size_t end = begin;
    while (end < text.size() && is(text[end])) ++end;
    return end - begin;
}

constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

constexpr bool isModelName(std::string_view name) {
    constexpr auto isLetter = [](char c) { return c >= 'A' && c <= 'Z'; };
    const std::size_t series = countFrom(name, 0, isLetter);
    const std::size_t digits = countFrom(name, series, isDigit);
    const std::size_t suffix = countFrom(name, series + digits, isLetter);
    return series >= 1 && series <= 2 && digits == 4 && suffix >= 1 && suffix <= 3 &&
           series + digits + suffix == name.size();
}

constexpr bool isProductID(std::string_view ID) {
    constexpr auto isHexDigit = [](char c) { return isDigit(c) || (c >= 'A' && c <= 'F'); };
    return !ID.empty() && ID.size() <= 4 && ID.front() != '0' &&
           countFrom(ID, 0, isHexDigit) == ID.size();
}

template <class Table>
constexpr bool areDistinct(const Table& entries) {
    for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
        if (std::find(entry + 1, entries.end(), *entry) != entries.end()) return false;
    }
    return true;
}

template <class Table, class Form>
constexpr bool all(const Table& entries, Form hasForm) {
    return std::all_of(entries.begin(), entries.end(), hasForm);
}

static_assert(all(supportedDisplays, isModelName),
              "supportedDisplays: write each model as K2723QX, one or two capital letters, four "
              "digits, one to three capital letters");
static_assert(all(specialChipDisplays, isModelName),
              "specialChipDisplays: write each model as K2723QX, one or two capital letters, four "
              "digits, one to three capital letters");
static_assert(areDistinct(supportedDisplays),
              "supportedDisplays: take out the model that is there twice");
static_assert(areDistinct(specialChipDisplays),
              "specialChipDisplays: take out the model that is there twice");
static_assert(manufacturerID.size() == 3 &&
                  all(manufacturerID, [](char c) { return c >= 'a' && c <= 'z'; }),
              "manufacturerID: write it as three lower-case letters");
static_assert(
    all(cameraProductIDs, isProductID),
    "cameraProductIDs: write each ID as A7B1, one to four hex digits in capitals, without "
    "0x and leading zeros");
static_assert(areDistinct(cameraProductIDs),
              "cameraProductIDs: take out the ID that is there twice");

}  // namespace check
}  // namespace ProductData
