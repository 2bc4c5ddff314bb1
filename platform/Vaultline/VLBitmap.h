// VLBitmap: an RGBA image in memory, 8 bits per component, alpha premultiplied and stored
// last, rows from top to bottom (4 × width bytes per row). A plain value; not thread-safe
// for concurrent writes.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

class VLBitmap {
 public:
  // Makes a transparent black bitmap; sizes below 1 are raised to 1.
  VLBitmap(int width, int height);

  int width() const { return width_; }
  int height() const { return height_; }
  const std::vector<uint8_t>& pixels() const { return pixels_; }
  std::vector<uint8_t>& mutablePixels() { return pixels_; }

  // Fills a rectangle given in drawing coordinates (origin at the bottom-left, y upwards)
  // with an unpremultiplied colour whose components are 0..1.
  void fillRect(double x, double y, double width, double height, double red, double green, double blue, double alpha);
  // Returns the premultiplied components (0..1) of the pixel at column x, row y (rows from the top).
  std::array<double, 4> pixelAt(int x, int y) const;

  // Returns a copy scaled to width × height (bilinear).
  VLBitmap scaledTo(int width, int height) const;
  // Returns a copy with the rows in reverse order.
  VLBitmap flippedVertically() const;
  // Draws the image scaled to width × height into 32-bit float components: RGBA, alpha
  // premultiplied and last, rows from the top, 16 × width bytes per row.
  std::vector<float> floatPixelsScaledTo(int width, int height) const;

 private:
  int width_;
  int height_;
  std::vector<uint8_t> pixels_;
};
