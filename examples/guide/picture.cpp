// picture FILE NUMBER IMAGE: writes a frame as a PPM image; with quillet.hpp, for every compiler.

#include <quillet/quillet.hpp>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

int main(int argc, char* argv[]) try {
  if (argc != 4) {
    std::puts("usage: picture FILE NUMBER IMAGE.ppm");
    return 2;
  }
  // A path, and not text, which the library takes in UTF-8. Letters beyond ASCII want wmain(), as the other programs have it.
  quillet::VideoSource video{std::filesystem::path(argv[1])};
  const quillet::Picture picture = video.picture(std::stoll(argv[2]), QUILLET_RGB24, QUILLET_TOP_DOWN);
  std::ofstream image(argv[3], std::ios::binary);
  image << "P6 " << picture.width << ' ' << picture.height << " 255\n";
  image.write(reinterpret_cast<const char*>(picture.content.data()),
              static_cast<std::streamsize>(picture.content.size()));
  std::printf("frame %lld, %.0f ms, of %lld\n", static_cast<long long>(picture.number), video.timeOf(picture.number),
              static_cast<long long>(video.length()));
  return image.flush() ? 0 : 1;
} catch (const std::exception& error) {  // quillet::Error, for one.
  std::puts(error.what());
  return 1;
}
