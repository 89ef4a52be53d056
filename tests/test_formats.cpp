// The tables of docs/formats.md: what a comparison says after a change. Each row there is a row
// here.
#include <algorithm>
#include <array>
#include <fstream>
#include <set>

#include "jpegBytes.h"

namespace {

using namespace support;
using namespace std::string_view_literals;

// ---- Changes ----

size_t find(const Bytes& file, std::string_view marker) {
  const Bytes wanted = Bytes().text(marker);
  return static_cast<size_t>(std::search(file.begin(), file.end(), wanted.begin(), wanted.end()) -
                             file.begin());
}
Bytes changed(Bytes file, size_t at, unsigned bits = 1) {
  file.at(at) ^= static_cast<uint8_t>(bits);
  return file;
}
Bytes changed(const Bytes& file, std::string_view marker, size_t behind, unsigned bits = 1) {
  return changed(file, find(file, marker) + behind, bits);
}
Bytes inserted(const Bytes& file, size_t at, const Bytes& what) {
  return file.part(0, at) + what + file.part(at);
}

// ---- Tables ----

using Row = std::array<std::string, 3>;  // heading, change, what differs

std::set<Row> documented() {
  std::ifstream document(KMHASH_TEST_MEDIA "/../../docs/formats.md");
  std::set<Row> rows;
  std::string line, heading;
  for (bool inTable = false; std::getline(document, line);) {
    if (line.starts_with("## ")) heading = line.substr(3);
    const size_t bar = line.find(" | ");
    if (inTable && bar != std::string::npos) {
      rows.insert({heading, line.substr(2, bar - 2), line.substr(bar + 3, line.size() - bar - 5)});
    }
    inTable = line == "| Change | What differs |" || (inTable && line.starts_with('|'));
  }
  return rows;
}

std::string compared(const HashText& before, const HashText& after) {
  EXPECT_EQ(before.code, HASHCREATE_SUCCESS);
  if (after.code != HASHCREATE_SUCCESS) return "not hashed";
  const int flags = compareBetweenHash(before.text.c_str(), after.text.c_str());
  using Name = std::pair<int, const char*>;
  std::string names;
  for (const auto& [flag, name] :
       {Name(1, "content"), Name(2, "meta"), Name(4, "format type"), Name(24, "algorithm")}) {
    if (flags & flag) names += (names.empty() ? "" : ", ") + std::string(name);
  }
  if (names.empty()) names = before.text == after.text ? "nothing" : "nothing compared";
  return names;
}

struct Table {
  std::string heading;
  Bytes file;  // before the changes
  int32_t mode = KMHASH_MODE_NORMAL;
  std::set<Row> untested = documented();

  const Bytes& of(const std::string& format, const Bytes& bytes) {
    heading = format;
    return file = bytes;
  }
  void operator()(const char* change, const char* differs, const Bytes& after) {
    EXPECT_NE(file, after) << change;
    EXPECT_EQ(compared(hashOf(file, mode), hashOf(after, mode)), differs)
        << heading << ": " << change;
    EXPECT_EQ(untested.erase({heading, change, differs}), 1u)
        << heading << ": " << change << ": not documented";
  }
};

const Bytes kText = Bytes().text("some text that tells about it");
const Bytes kId3v1 = Bytes().text("TAG").fill(125, ' '),
            kId3v2 = Bytes().text("ID3\x03\0\0\0\0\0\x1D"sv) + kText;

void anyFile(Table& row) {
  const Bytes jpeg = row.of("Any file", media("jpeg-baseline.jpg"));
  row("Zero bytes in front of a file", "nothing", Bytes(1000) + jpeg);
  row("An ID3v2 tag in front of a photo", "nothing", kId3v2 + jpeg);
  row("Other bytes in front of a photo", "not hashed", kText + jpeg);
  const Bytes large = row.of("Any file", media("jpeg-large.jpg"));
  row("A byte between two samples of a long picture", "nothing",
      changed(large, "\xFF\xDA", 4 + 170));

  row.mode = KMHASH_MODE_QUICK;
  row.of("Quick mode", large);
  row("A byte between two samples of a longer file", "nothing", changed(large, 165));
  row.of("Quick mode", jpeg);
  row("A byte of a file below 16,384 bytes", "content", changed(jpeg, 3000));
  row("Metadata added to a photo", "content, meta", media("jpeg-edited.jpg"));
  row.mode = KMHASH_MODE_NORMAL;
}

// ---- JPEG ----

void jpegs(Table& row) {
  const Bytes jpeg = row.of("JPEG", media("jpeg-baseline.jpg")),
              progressive = media("jpeg-progressive.jpg");
  row("Exif, XMP, IPTC, comment and thumbnail added", "nothing", media("jpeg-edited.jpg"));
  row("A colour profile added", "nothing",
      inserted(jpeg, 2, segment(0xFFE2, Bytes().text("ICC_PROFILE\0"sv))));
  row("A quantisation table", "nothing", changed(jpeg, "\xFF\xDB", 9));
  row("Height, width or sampling in the header", "meta", changed(jpeg, "\xFF\xC0", 8));
  row("Saved as progressive without loss", "content, meta", progressive);
  row("Bytes appended behind the picture", "content", jpeg + kText);
  row("The last two bytes of the file", "nothing", changed(jpeg, jpeg.size() - 2));
  row.of("JPEG", progressive);
  row("Height, width or sampling in the header of a progressive picture", "nothing",
      changed(progressive, "\xFF\xC2", 8));
}

void multiPicture(Table& row) {
  const Bytes comment = segment(0xFFFE, {1, 2, 3}), first = Bytes().pattern(400),
              other = Bytes().pattern(400, 2);
  const Bytes all = row.of("Multi-picture JPEG", album(kOther, {first, other}));
  const size_t end = find(all, "\xFF\xD9\xFF\xD8"), inFirst = end - 9, otherHeader = end + 21;
  row("All hashed: a size in a picture's header", "nothing", changed(all, otherHeader));
  row("All hashed: comment added to the first picture, list left as it is", "content",
      inserted(all, 2, comment));
  const Bytes pair = row.of("Multi-picture JPEG", album(kBaseline, {first, other}));
  row("Primary and another: the scan of the primary picture", "nothing", changed(pair, inFirst));
  row("Primary and another: a size in the other picture's header", "meta",
      changed(pair, otherHeader));
  row("Primary and another: comment added to the primary picture", "nothing",
      inserted(pair, 2, comment));
  const Bytes single = row.of("Multi-picture JPEG", album(kBaseline, {first}));
  row("Primary alone: comment added, list left as it is", "content", inserted(single, 2, comment));
}

// ---- Other pictures ----

void pictures(Table& row) {
  const Bytes png = row.of("PNG", media("png-palette-text.png"));
  const size_t idat = find(png, "IDAT") - 4, behind = find(png, "tEXt") - 4, iend = png.size() - 12;
  const Bytes texts = png.part(behind, iend - behind),
              moved = inserted(png.part(0, behind), idat, texts);
  row("Text, time, Exif or a profile added in front of the picture", "nothing",
      inserted(png, idat, texts));
  row("Text behind the picture", "content", changed(png, behind + 20));
  row("Text moved from behind the picture to its front", "content", moved + png.part(iend));
  row("Width, height, bit depth, colour type or interlacing", "meta", changed(png, "IHDR", 7));
  const Bytes palette =
      row.of("PNG", inserted(png, idat, Bytes().u32be(6).text("PLTE").pattern(10)));
  row("A colour of the palette", "nothing", changed(palette, "PLTE", 5));

  const Bytes gif = row.of("GIF", media("gif-animated.gif")), comment = {0x21, 0xFE, 3, 1, 2, 3, 0};
  const size_t later = 7457;  // the second picture's graphic control extension
  row("A colour of the global palette", "nothing", changed(gif, 20));
  row("A comment added in front of the first picture", "nothing", inserted(gif, 61, comment));
  row("The first picture's delay, the number of repeats", "nothing",
      changed(changed(gif, 65), "2.0", 5));
  row("A later picture's delay", "content", changed(gif, later + 4));
  row("A comment added behind the first picture", "content", inserted(gif, later, comment));
  row("Screen size, background colour or aspect ratio", "meta", changed(gif, 6));
  row("`GIF87a` in place of `GIF89a`", "meta", changed(gif, 4, '7' ^ '9'));
}

// A directory in front, a description at 86, and pixels behind it.
Bytes tiffInFront(size_t description) {
  const std::vector<Numbers> size = {{256, 4, 1, 20}, {257, 4, 1, 5}, {262, 4, 1, 1}};
  const std::vector<Numbers> tags = {
      size[0],         size[1], size[2], {270, 2, description, 86}, {273, 4, 1, 86 + description},
      {279, 4, 1, 100}};
  return header(false, 8) + ifd(false, tags) + Bytes(description, 'x').pattern(100);
}

void tiffs(Table& row) {
  const Bytes front = row.of("TIFF", tiffInFront(20));
  row("Directory in front: the picture", "content", changed(front, 120));
  row("Directory in front: a text of the same length", "nothing", changed(front, 90));
  row("Directory in front: a longer text, so that the picture moves", "meta", tiffInFront(21));
  const Bytes behind = row.of("TIFF", media("tiff-little.tif")),
              copied = behind + behind.part(28808);
  row("Directory behind, one strip: the picture", "content", changed(behind, 99));
  row("Directory behind, one strip: bytes appended", "nothing", behind + kText);
  row("Directory behind, one strip: directory written anew at the end", "content",
      patched(copied, 4, behind.size()));
  row("Width or height", "meta", changed(behind, 28808 + 10));
  row("Tiles in place of strips", "not hashed", media("tiff-tiles.tif"));
  const Bytes strips = row.of("TIFF", media("tiff-lzw-strips.tif"));
  row("Directory behind, eight strips: the picture", "nothing", changed(strips, 99));
  row("Directory behind, eight strips: the size of a strip", "content", changed(strips, 38724));
  const Bytes pages = row.of("TIFF", media("tiff-pages.tif"));
  row("A second page", "nothing", changed(changed(pages, 40000), 57898));
}

// ---- Films ----

void films(Table& row) {
  const Bytes mp4 = row.of("MP4, MOV, M4A, 3GP", media("mp4-moov-last.mp4"));
  const Bytes box = Bytes().u32be(12).text("mdat").pattern(4),
              moov = mp4.part(find(mp4, "moov") - 4);
  const Bytes front = mp4.part(0, 32), mdat = mp4.part(32, mp4.size() - moov.size() - 32);
  row("Title, cover and other tags", "nothing", media("mp4-edited.mp4"));
  row("Movie header moved in front of the media (\"fast start\")", "nothing",
      media("mp4-moov-first.mp4"));
  row("Modification date", "nothing", changed(mp4, "mvhd", 12));
  row("Creation date or duration", "meta", changed(mp4, "mvhd", 8));
  row("Width or height of a track", "meta", changed(mp4, "tkhd", 81));
  row("Rotation", "nothing", changed(mp4, "tkhd", 45));
  row("The decoder's setup", "nothing", changed(mp4, "avcC", 9));
  row("The number of samples", "content", changed(mp4, "stsz", 15));
  row("The major brand", "format type", changed(mp4, 8));
  row("Boxes appended", "nothing", mp4 + box);
  row.of("MP4, MOV, M4A, 3GP", front + mdat + box + moov);
  row("\"Fast start\" of a file with several pieces of media data", "content",
      front + moov + mdat + box);
  const Bytes fragments = row.of("MP4, MOV, M4A, 3GP", media("mp4-fragmented.mp4"));
  row("Anything behind the first media data of a fragmented movie", "content",
      changed(fragments, "mfra", 9));

  const Bytes wmv = row.of("ASF, WMV, WMA", media("asf-video.wmv"));
  const std::string_view properties = "\xA1\xDC\xAB\x8C", video = "\xC0\xEF\x19\xBC",
                         audio = "\x40\x9E\x69\xF8";
  row("Dates, play time", "nothing", changed(changed(wmv, properties, 48), properties, 64));
  row("An index appended", "nothing", wmv + kText);
  row("The file's id in the header", "meta", changed(wmv, properties, 24));
  row("Width, height or bits per pixel of the video", "meta", changed(wmv, video, 69));
  row("The codec", "format type", changed(wmv, "WMV2", 0));
  const Bytes wma = row.of("ASF, WMV, WMA", media("asf-audio.wma"));
  row("Title and other tags", "nothing", changed(wma, "A\0 \0t\0"sv, 6));
  row("Sampling rate of an audio file", "meta", changed(wma, audio, 58));
  row("Number of channels of an audio file", "nothing", changed(wma, audio, 56, 3));
}

void streams(Table& row) {
  const Bytes mpeg = row.of("MPEG program stream", media("mpeg1.mpg"));
  row("Clock or rate of the first pack", "meta", changed(mpeg, 8));
  row("The eleven bytes behind the first pack header", "nothing", changed(mpeg, 22));
  row("Bytes appended", "content", mpeg + kText);

  const Bytes ts = row.of("MPEG-2 transport stream", media("mpegts-188.m2t")),
              once = changed(ts, "Service01", 8);
  row("The service name in front of the first programme map", "nothing", once);
  row("The service name wherever it is repeated", "content", changed(once, "Service01", 8));
  row("Packets appended", "content, meta", ts + ts.part(0, 376));
  const Bytes m2ts = row.of("MPEG-2 transport stream", media("mpegts-192.m2ts"));
  row("The format identifier", "format type", changed(m2ts, "HDMV", 0));

  const Bytes avi = row.of("AVI", media("avi-mjpeg.avi"));
  row("Title and other tags in front of the movie", "nothing", changed(avi, "ISFT", 9));
  row("The index behind the movie", "nothing", changed(avi, "idx1", 9));
  row("The stream's format", "nothing", changed(avi, "strf", 12));
  row("The number of frames", "content", changed(avi, "avih", 24));
  row("Frame duration, maximum byte rate, width or height", "meta", changed(avi, "avih", 12));
  row("The first letter of the handler", "format type", changed(avi, "MJPG", 0));
  row("Another letter of the handler", "nothing compared", changed(avi, "MJPG", 3));
}

// ---- Sound ----

void sounds(Table& row) {
  const Bytes wav = row.of("WAV", media("wav-tagged.wav"));
  row("Tags in front of the sound", "nothing", changed(wav, "A title", 2));
  row("Tags appended behind the sound", "content", wav + Bytes().text("id3 ").u32le(39) + kId3v2);
  row("Sampling rate, channels or bits", "meta", changed(wav, "fmt ", 12));

  const Bytes mp3 = row.of("MP3", media("mp3-plain.mp3")),
              ape = Bytes().text("APETAGEX").fill(24, 0);
  const Bytes footer = changed(kId3v2, 5, 0x10) + Bytes().text("3DI") + kId3v2.part(3, 7);
  row("An ID3v2 tag added, edited or removed", "nothing compared", media("mp3-tagged.mp3"));
  row("An ID3v2 tag with a footer added", "not hashed", footer + mp3);
  row("An ID3v1 tag added or removed", "content, meta", mp3 + kId3v1);
  row("An APE or lyrics tag added at the end", "content, meta", mp3 + ape);
  row("The first frame's data (encoder's information)", "nothing", changed(mp3, 50));
  row("The first frame's header", "meta", changed(mp3, 3, 4));
  const Bytes tagged = row.of("MP3", mp3 + kId3v1);
  row("An ID3v1 tag edited", "nothing", changed(tagged, mp3.size() + 3));

  const Bytes flac = row.of("FLAC", media("flac-plain.flac"));
  const size_t frame = find(flac, "\xFF\xF8");
  row("Tags, pictures, seek points and padding", "nothing", media("flac-picture.flac"));
  row("Sampling rate, channels, bits, length or checksum of the sound", "meta", changed(flac, 19));
  row("The first four bytes of the first frame", "nothing", changed(flac, frame + 3));
  row("An ID3v1 tag or other bytes appended", "content, meta", flac + kId3v1);
}

TEST(Formats, ComparisonsSayWhatTheDocumentSays) {
  Table table;
  for (const auto rows : {anyFile, jpegs, multiPicture, pictures, tiffs, films, streams, sounds})
    rows(table);
  EXPECT_EQ(table.untested, std::set<Row>());
}

}  // namespace
