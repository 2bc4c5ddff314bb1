#include "Vaultline/VLBitmap.h"

#include <algorithm>
#include <cmath>

namespace {

uint8_t toByte(double component) { return static_cast<uint8_t>(std::lround(std::clamp(component, 0.0, 1.0) * 255.0)); }

}  // namespace

VLBitmap::VLBitmap(int width, int height)
    : width_(std::max(width, 1)),
      height_(std::max(height, 1)),
      pixels_(static_cast<size_t>(width_) * static_cast<size_t>(height_) * 4, 0) {}

void VLBitmap::fillRect(double x, double y, double width, double height, double red, double green, double blue,
                        double alpha) {
  alpha = std::clamp(alpha, 0.0, 1.0);
  const double source[4] = {std::clamp(red, 0.0, 1.0) * alpha, std::clamp(green, 0.0, 1.0) * alpha,
                            std::clamp(blue, 0.0, 1.0) * alpha, alpha};
  for (int row = 0; row < height_; ++row) {
    // A pixel belongs to the rectangle when its centre does; drawing y runs bottom-up.
    double centreY = height_ - row - 0.5;
    if (centreY < y || centreY >= y + height) continue;
    for (int column = 0; column < width_; ++column) {
      double centreX = column + 0.5;
      if (centreX < x || centreX >= x + width) continue;
      uint8_t* pixel = &pixels_[(static_cast<size_t>(row) * width_ + column) * 4];
      for (int c = 0; c < 4; ++c) {  // source-over compositing in premultiplied space
        pixel[c] = toByte(source[c] + pixel[c] / 255.0 * (1.0 - alpha));
      }
    }
  }
}

std::array<double, 4> VLBitmap::pixelAt(int x, int y) const {
  x = std::clamp(x, 0, width_ - 1);
  y = std::clamp(y, 0, height_ - 1);
  const uint8_t* pixel = &pixels_[(static_cast<size_t>(y) * width_ + x) * 4];
  return {pixel[0] / 255.0, pixel[1] / 255.0, pixel[2] / 255.0, pixel[3] / 255.0};
}

namespace {

// Samples `bitmap` bilinearly at the centre of destination pixel (x, y) of a width × height image.
std::array<double, 4> sampleBilinear(const VLBitmap& bitmap, int x, int y, int width, int height) {
  double sourceX = (x + 0.5) * bitmap.width() / width - 0.5;
  double sourceY = (y + 0.5) * bitmap.height() / height - 0.5;
  int x0 = static_cast<int>(std::floor(sourceX));
  int y0 = static_cast<int>(std::floor(sourceY));
  double fx = sourceX - x0;
  double fy = sourceY - y0;
  auto a = bitmap.pixelAt(x0, y0), b = bitmap.pixelAt(x0 + 1, y0);
  auto c = bitmap.pixelAt(x0, y0 + 1), d = bitmap.pixelAt(x0 + 1, y0 + 1);
  std::array<double, 4> out{};
  for (int i = 0; i < 4; ++i) {
    double top = a[i] + (b[i] - a[i]) * fx;
    double bottom = c[i] + (d[i] - c[i]) * fx;
    out[i] = top + (bottom - top) * fy;
  }
  return out;
}

}  // namespace

VLBitmap VLBitmap::scaledTo(int width, int height) const {
  VLBitmap scaled(width, height);
  for (int y = 0; y < scaled.height_; ++y) {
    for (int x = 0; x < scaled.width_; ++x) {
      auto sample = sampleBilinear(*this, x, y, scaled.width_, scaled.height_);
      uint8_t* pixel = &scaled.pixels_[(static_cast<size_t>(y) * scaled.width_ + x) * 4];
      for (int c = 0; c < 4; ++c) pixel[c] = toByte(sample[c]);
    }
  }
  return scaled;
}

VLBitmap VLBitmap::flippedVertically() const {
  VLBitmap flipped(width_, height_);
  size_t rowBytes = static_cast<size_t>(width_) * 4;
  for (int y = 0; y < height_; ++y) {
    std::copy_n(&pixels_[y * rowBytes], rowBytes, &flipped.pixels_[(height_ - 1 - y) * rowBytes]);
  }
  return flipped;
}

std::vector<float> VLBitmap::floatPixelsScaledTo(int width, int height) const {
  width = std::max(width, 1);
  height = std::max(height, 1);
  std::vector<float> out(static_cast<size_t>(width) * height * 4);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      auto sample = sampleBilinear(*this, x, y, width, height);
      for (int c = 0; c < 4; ++c) out[(static_cast<size_t>(y) * width + x) * 4 + c] = static_cast<float>(sample[c]);
    }
  }
  return out;
}
