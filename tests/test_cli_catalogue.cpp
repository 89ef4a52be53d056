// The catalogue: kmhash scan and what reads and writes beside it, on real folders.
#include <chrono>
#include <cstdlib>
#include <filesystem>

#define XXH_INLINE_ALL
#include <xxhash.h>

#include "catalogue.h"
#include "format.h"
#include "schema.h"
#include "support.h"

namespace {

namespace fs = std::filesystem;
using support::Bytes;
using support::media;
using support::outputOf;
using support::quoted;
using support::withProgram;

struct Step {
  const char* rule;
  const char* script;    // of a shell, in the test's folder
  const char* expected;  // what it prints; the folder's own path is left out
};

// What the scripts share. `scan` tells numbers and messages, `log` all changes but new files.
constexpr const char* kShell = R"(
scan() { kmhash scan --catalog c "$@" 2>&1 | grep -v 'to list them' | sed 's/; .* read$//'; }
log() { kmhash log --catalog c | cut -c22- | grep -v ^new; }
export_of() { kmhash export --csv --catalog $1 | sort; }
old() { find "$@" -type f -exec touch -d @1000.5 {} +; }
)";

// A folder p of files whose times are long settled, and a catalogue c.
struct Catalogues : support::InFolder {
  Catalogues() {
    fs::create_directories(folder / "p/sub");
    for (const char* name : {"jpeg-baseline.jpg", "png-rgb.png", "webp.webp", "opus.opus"})
      write(text::format("p/{}", name), media(name));
    write("p/sub/text", Bytes().text("no media"));
    run("old p");
  }
  std::string run(const std::string& script) const {
    std::string shown = outputOf(
        withProgram(text::format("cd {}; export MEDIA={}; {}\n({}) 2>&1", quoted(folder.string()),
                                 quoted(KMHASH_TEST_MEDIA), kShell, script)));
    for (size_t at = 0; (at = shown.find(folder.string() + "/")) != std::string::npos;)
      shown.erase(at, folder.string().size() + 1);
    return shown;
  }
  void expect(std::initializer_list<Step> steps) const {
    for (const Step& step : steps) EXPECT_EQ(run(step.script), step.expected) << step.rule;
  }
  bool canMount() const {
    return run("mkdir try && mount -t tmpfs none try && umount try && echo yes") == "yes\n";
  }
};

TEST_F(Catalogues, FollowWhatBecomesOfFiles) {
  expect({
      {"new", "scan p", "kmhash: c: 5 files, 5 new, 1 unsupported\n"},
      {"known", "scan p; scan ./p/.; strace -V >/dev/null 2>&1; kmhash log --catalog c | wc -l",
       "kmhash: c: 5 files, 5 known\nkmhash: c: 5 files, 5 known\n5\n"},
      {"moved, forwards and backwards", "mv p/webp.webp p/a; mv p/opus.opus p/z; scan p; log",
       "kmhash: c: 5 files, 3 known, 2 moved\n"
       "moved     p/a  from p/webp.webp\nmoved     p/z  from p/opus.opus\n"},
      {"a hard link is not read", "ln p/a p/link; scan p; kmhash log --catalog c | grep -c ^",
       "kmhash: c: 6 files, 5 known, 1 new\n8\n"},
      {"missing, never forgotten", "rm p/a; mv p/png-rgb.png away; scan p; scan p; log | tail -2",
       "kmhash: c: 4 files, 4 known, 2 missing\nkmhash: c: 4 files, 4 known\n"
       "missing   p/a\nmissing   p/png-rgb.png\n"},
      {"back", "mv away p/png-rgb.png; scan p; log | tail -1; scan p",
       "kmhash: c: 5 files, 5 known, 1 back\nback      p/png-rgb.png  (the media agree)\n"
       "kmhash: c: 5 files, 5 known\n"},
      {"changed",
       "cp \"$MEDIA\"/jpeg-edited.jpg p/jpeg-baseline.jpg; cat \"$MEDIA\"/flac-plain.flac >p/z;"
       "touch -d @2000.5 p/*.jpg p/z; scan p; log | tail -2",
       "kmhash: c: 5 files, 3 known, 2 changed\n"
       "changed   p/jpeg-baseline.jpg  (the media agree)\n"
       "changed   p/z  (the media differ: content, meta, format, algorithm)\n"},
      {"to another root, of which the first becomes a part",
       "mkdir q; mv p/link q; scan q; log | tail -1; scan p; scan --exclude 'try/' .;"
       "kmhash status --catalog c | grep -A9 ^roots | grep /",
       "kmhash: c: 1 file, 1 moved\nmoved     q/link  from p/link\nkmhash: c: 4 files, 4 known\n"
       "kmhash: c: 5 files, 5 known\n          5    40.1 kB  \n"},
      {"a folder of a root", "scan --whole p/sub; scan --whole p/sub",
       "kmhash: c: 1 file, 1 hashed again, 1 unsupported\nkmhash: c: 1 file, 1 known\n"},
      {"what is passed over is not missing",
       "ln -s ../p p/loop; scan --exclude '*.png' --exclude sub/ --list-passed-over p;"
       "scan --include '*.png' p",
       "p/loop\np/png-rgb.png\np/sub/\nkmhash: c: 2 files, 2 known, 3 passed over\n"
       "kmhash: c: 1 file, 1 known, 4 passed over\n"},
      {"a list of these",
       "kmhash status --catalog c --list unsupported; rm p/z; scan p;"
       "kmhash status --catalog c --list missing",
       "p/sub/text\nkmhash: c: 3 files, 3 known, 1 missing, 1 passed over\np/a\np/z\n"},
      {"forgotten",
       "kmhash forget --catalog c --missing; kmhash forget --catalog c p/sub none/p;"
       "log | grep -c p/z; scan p",
       "kmhash: c: 2 files forgotten\nkmhash: none/p: nothing is recorded there\n"
       "kmhash: c: 1 file forgotten\n0\nkmhash: c: 3 files, 2 known, 1 new, 1 unsupported, "
       "1 passed over\n"},
      {"a root of another name",
       "kmhash scan --catalog x p/sub 2>/dev/null; mv p/sub p/now; kmhash scan --catalog x p/sub;"
       "kmhash status --catalog x | grep sub; kmhash scan --catalog x p/now 2>&1 | head -1",
       "kmhash: p/sub/: the folder is not there; what is recorded of it stays as it is\n"
       "          1    8 bytes  p/sub/  (the folder is not there)\n"
       "          1    8 bytes  p/sub/\nkmhash: x: 1 file, 1 moved\n"},
  });
}

// away A B: what a move to another disk does.
TEST_F(Catalogues, FollowFilesToOtherFoldersAndDisks) {
  const std::string begin =
      "away() { cp -p p/$1 q/$2; rm p/$1; }; rm -rf q c; mkdir q; cp \"$MEDIA\"/jpeg-baseline.jpg "
      "p;"
      "cp p/opus.opus p/a; cp p/opus.opus p/b; old p; kmhash scan --whole --catalog c p q "
      "2>/dev/null;"
      "flip() { printf A | dd of=q/j bs=1 seek=15 conv=notrunc 2>/dev/null; old q; };";
  const std::string moved = "moved     q/w  from p/a\n", missing = "missing   p/a\n",
                    said = "kmhash: c: 7 files, 6 known, 1 moved\n";
  const std::pair<std::string, std::string> rows[] = {
      {"away a w; scan p q; log", said + moved},
      {"away a w; scan q p; log", said + moved},
      {"away a w; scan p; scan q; log",
       "kmhash: c: 6 files, 6 known, 1 missing\nkmhash: c: 1 file, 1 moved\n" + missing + moved},
      {"away a w; scan q; scan p; log",
       "kmhash: c: 1 file, 1 new\nkmhash: c: 6 files, 6 known, 1 moved\n" + moved},
      // a copy that was there beside it, of another time, of other bytes
      {"cp -p p/a q/w; scan p q; rm p/a; scan q p; log",
       "kmhash: c: 8 files, 7 known, 1 new\nkmhash: c: 7 files, 7 known, 1 missing\n" + missing},
      {"away a w; touch -d @7 q/w; scan p q | cut -d, -f3-", " 1 new, 1 missing\n"},
      {"away jpeg-baseline.jpg j; flip; scan --whole q p; log",
       "kmhash: c: 7 files, 6 known, 1 new, 1 missing\nmissing   p/jpeg-baseline.jpg\n"},
      // what the move may have spoilt shows later
      {"away jpeg-baseline.jpg j; flip; scan q p; kmhash verify --whole --catalog c q 2>/dev/null",
       said + "q/j: rotten\n"},
      {"rm c; kmhash hash --quick p/a >l; kmhash import --catalog c l 2>l; scan p q >l; away a w; "
       "scan p q; log",
       said + moved},
      // of equal ones by their names, then by their paths
      {"away a x; away b a; scan q p; log",
       "kmhash: c: 7 files, 5 known, 2 moved\nmoved     q/a  from p/a\nmoved     q/x  from p/b\n"},
  };
  for (const auto& [script, expected] : rows) EXPECT_EQ(run(begin + script), expected) << script;
}

TEST_F(Catalogues, ImportTheLatestOfRowsOfOnePath) {
  run("kmhash hash -r --whole p >whole; h=$(cut -c-128 whole | head -1); g=$(cut -c-128 whole | "
      "tail -1);"
      "{ echo path,length,modified_ns,status,result,hash; echo /n/a,1,5,hashed,0,$g;"
      "echo /n/a,3,7,failed,-255,; echo /n/a,3,7,hashed,0,$h; echo /n/a,2,7,failed,-255,;"
      "echo /n/a,9,6,hashed,0,$g; echo /n/b,-1,6,hashed,0,$g; } >rows; mkdir r; ln -s ../p r/link");
  expect({
      {"rows",
       "kmhash import --catalog c rows; kmhash export --csv --catalog c | cut -d, -f1-6 >o;"
       "sed -n '1p;4p' rows | cmp - o",
       "kmhash: rows: line 7: a length below 0\nkmhash: c: 1 new, 4 recorded before\n"},
      {"whole hashes, by way of a link",
       "sed 's|  p/|  r/link/|' whole >l; kmhash import --catalog i l; kmhash export --catalog i | "
       "sort >o;"
       "sed \"s|  p/|  $PWD/p/|\" whole | sort | cmp - o",
       "kmhash: i: 4 new, 0 recorded before\n"},
      {"below a root, by way of a link",
       "rm c; scan p >o; kmhash import --catalog c l; kmhash verify --quiet --catalog c",
       "kmhash: c: 0 new, 4 recorded before\nkmhash: verify: 4 intact-as-sampled, 1 without "
       "anything recorded to compare with\n"},
      {"of another length than was scanned",
       "rm c; scan p >o; echo path,length,modified_ns,hash >n;"
       "echo $PWD/p/sub/text,9,1000500000000,$(cut -c-128 whole | head -1) >>n;"
       "kmhash import --catalog c n; kmhash export --csv --catalog c | grep -c unsupported,-9,,",
       "kmhash: c: 0 new, 1 recorded before\n1\n"},
  });
}

TEST_F(Catalogues, BringAnOlderOneUpToDate) {
  {
    catalogue::Database old((folder / "c").string(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    old.run(catalogue::kMigrations[0]);
    old.run(
        "INSERT INTO roots VALUES (1, 'unknown', '/', '/r/', NULL);"
        "INSERT INTO files (id, root, path, status, result, recorded, settled, first_seen) VALUES "
        "(1, 1, 'c', 'hashed', 0, 0, 0, 0), (2, 1, 'x', 'hashed', 0, 0, 0, 0);"
        "INSERT INTO events (time, file, word, old_path) VALUES (10, 1, 'moved', '/r/a'), "
        "(20, 1, 'rotten', NULL), (20, 2, 'missing', NULL), (30, 1, 'moved', '/r/b');"
        "PRAGMA application_id = 0x6B6D6863; PRAGMA user_version = 1");
  }
  expect({
      {"is not read", "kmhash log --catalog c",
       "kmhash: c: the catalogue is of an older kmhash; a scan brings it up to date\n"},
      {"paths at their time",
       "kmhash import --catalog c /dev/null; kmhash log --catalog c | cut -c22-",
       "kmhash: c: 0 new, 0 recorded before\nnew       /r/a\nnew       /r/x\n"
       "moved     /r/b  from /r/a\nrotten    /r/b\nmissing   /r/x\nmoved     /r/c  from /r/b\n"},
      {"verifications", "kmhash status --catalog c | tail -2 | cut -c5-",
       "      1             missing\n      1             rotten\n"},
  });
}

TEST_F(Catalogues, TrustNoTimeThatIsAsYoungAsTheScanOrAhead) {
  expect({
      {"ahead",
       "touch -d '+1 hour' p/png-rgb.png; scan p; cp -p p/png-rgb.png ref;"
       "printf A | dd of=p/png-rgb.png bs=1 seek=60 conv=notrunc 2>/dev/null;"
       "touch -r ref p/png-rgb.png; scan p; log",
       "kmhash: c: 5 files, 5 new, 1 unsupported\nkmhash: c: 5 files, 4 known, 1 changed\n"
       "changed   p/png-rgb.png  (the media differ: content)\n"},
      {"of a file system that counts seconds",
       "touch -d @$(($(date +%s) + 1)) p/*.jpg; scan p; scan p",
       "kmhash: c: 5 files, 3 known, 1 changed, 1 hashed again\n"
       "kmhash: c: 5 files, 3 known, 2 hashed again\n"},
      {"settled", "old p; scan p; scan p",
       "kmhash: c: 5 files, 3 known, 2 changed\nkmhash: c: 5 files, 5 known\n"},
  });
}

TEST_F(Catalogues, TakeEveryNameAndPassUnreadableFolders) {
  std::string deep;  // deeper than one path of the system can name
  for (int i = 0; i < 20; ++i) deep += std::string(199, 'd') + "/";
  run("cp p/opus.opus \"p/line\n\\feed,\\\"\"; cp p/opus.opus \"$(printf 'p/\\377')\"; at=$PWD; cd "
      "p;"
      "for i in $(seq 20); do n=$(printf %0199d | tr 0 d); mkdir $n; cd $n; done;"
      "cp $at/p/webp.webp end; cd $at; old p");
  EXPECT_EQ(run("scan p; scan p"),
            "kmhash: c: 8 files, 8 new, 1 unsupported\nkmhash: c: 8 files, 8 known\n");
  for (const char* format : {"--csv", "--json", ""}) {
    EXPECT_EQ(
        run(text::format("kmhash export --catalog c {0} >e; rm -f i; kmhash import --catalog i e;"
                         "kmhash export --catalog i {0} | sort >f; sort e | cmp - f;"
                         "kmhash scan --catalog i p 2>&1 | grep -o '[0-9]* known';"
                         "export_of c >e; export_of i | cmp - e",
                         format)),
        *format != '\0' ? "kmhash: i: 8 new, 0 recorded before\n8 known\n"
                        : "kmhash: i: 7 new, 0 recorded before\n")
        << format;
  }
  EXPECT_EQ(run("rm i; kmhash import --catalog i c c; export_of c >e; export_of i | cmp - e"),
            "kmhash: i: 8 new, 8 recorded before\n");
  EXPECT_EQ(run("kmhash export --json --catalog c | grep -c -e path_hex.*ff -e hash.:null"), "2\n");
  if (run("setpriv --reuid=65534 --clear-groups kmhash -V >v; test -s v && echo yes") != "yes\n")
    GTEST_SKIP() << "cannot be somebody whom a folder is closed to";
  EXPECT_EQ(run("chmod -R 777 . ; cp p/opus.opus p/shut; chmod 0 p/sub p/shut; scan() { setpriv "
                "--reuid=65534 --clear-groups "
                "kmhash scan --catalog c p; echo $?; }; scan 2>&1 | grep -v list | LC_ALL=C sort"),
            "1\nkmhash: p/shut: Permission denied (HASHCREATE_FILE_NOTFOUND)\n"
            "kmhash: p/sub/: Permission denied\n"
            "kmhash: c: 8 files, 7 known, 1 new, 1 failed; 2.9 kB read\n");
}

// By all bytes of the file, in one piece.
TEST_F(Catalogues, DigestWholeFilesAsTheLibraryReadsThem) {
  run("cp \"$MEDIA\"/* p; old p; scan --whole --others --prefer 3 p");
  auto catalogue = catalogue::Catalogue::open(folder / "c", catalogue::Access::read);
  auto rows = catalogue.database().prepare("SELECT path, digest, id FROM files");
  auto hashes = catalogue.database().prepare("SELECT kind, text FROM hashes WHERE file = ?");
  int whole = 0;
  for (; rows.next(); ++whole) {
    if (rows.text(0) == "sub/text") continue;
    const Bytes bytes = media(rows.text(0));
    XXH128_canonical_t expected;
    XXH128_canonicalFromHash(&expected, XXH3_128bits(bytes.data(), bytes.size()));
    EXPECT_EQ(rows.bytes(1), std::string_view(reinterpret_cast<const char*>(expected.digest), 16))
        << rows.text(0);
    std::string sampled, version3;
    for (hashes.with(rows.number(2)); hashes.next();) {
      if (hashes.text(0) == "sampled") sampled = hashes.text(1);
      if (hashes.text(0) == "version3") version3 = hashes.text(1);
      const char* method = hashes.text(0) == "sampled"    ? "--prefer 4"
                           : hashes.text(0) == "whole"    ? "--prefer 4 --whole"
                           : hashes.text(0) == "version3" ? ""
                                                          : "--quick";
      if (whole % 8 != 0) continue;
      EXPECT_EQ(
          run(text::format("kmhash hash {} \"$MEDIA\"/{}", method, rows.text(0))).substr(0, 128),
          hashes.text(1));
    }
    EXPECT_TRUE(version3.empty() || sampled != version3) << rows.text(0);
  }
  EXPECT_GT(whole, 100);
}

TEST_F(Catalogues, LoseNothingWhenKilledAndGoOn) {
  constexpr int kFiles = 1500;
  fs::create_directory(folder / "p/many");
  for (int i = 0; i < kFiles; ++i)
    write(text::format("p/many/{}", i), media("webp.webp") + Bytes().text(std::to_string(i)));
  const auto began = std::chrono::steady_clock::now();
  run("old p; kmhash scan -j1 --catalog whole p");
  const std::chrono::duration<double> scan = std::chrono::steady_clock::now() - began;

  // Now at any moment, now when something new is recorded.
  const auto recorded = [&] {
    return std::stoi(run("kmhash export --csv --catalog c 2>/dev/null | wc -l"));
  };
  int before = 0, whileAtIt = 0;
  for (int i = 1; i <= 16 && before < kFiles; ++i) {
    const std::string moment =
        i % 2 != 0 ? text::format("sleep {:.6f}", scan.count() * i / 32)
                   : text::format(
                         "while kill -0 $! && [ $(kmhash export --csv --catalog c | wc -l) -le {} "
                         "]; do :; done",
                         before);
    run("nice -n 19 kmhash scan -j1 --catalog c p & " + moment + "; kill -9 $!");
    const int now = recorded();
    EXPECT_GE(now, before);
    whileAtIt += now > before && now < kFiles;
    before = now;
  }
  EXPECT_GT(whileAtIt, 0);
  EXPECT_EQ(run("scan p >/dev/null; export_of c >e; export_of whole | cmp - e"), "");

  for (const auto& [signal, status] : {std::pair("INT", "130\n"), std::pair("TERM", "143\n")}) {
    std::string ended = "0\n";
    for (double seconds = scan.count() / 2; seconds > 0.0001 && ended == "0\n"; seconds /= 2) {
      ended =
          run(text::format("timeout --preserve-status -s {} {:.6f} kmhash scan -j1 --catalog d "
                           "p >/dev/null 2>&1; echo $?",
                           signal, seconds));
    }
    EXPECT_EQ(ended, status);
    EXPECT_EQ(run("ls d-* 2>/dev/null"), "");
  }
  EXPECT_EQ(run("kmhash scan --catalog d p 2>/dev/null; export_of d | cmp - e"), "");
}

TEST_F(Catalogues, KnowADiskWhereverItIs) {
  if (!canMount()) GTEST_SKIP() << "nothing can be mounted here";
  expect({
      {"at home", "mkdir m n; mount -t tmpfs none m; cp p/*g m; old m; scan m",
       "kmhash: c: 2 files, 2 new\n"},
      {"elsewhere",
       "mount --bind m n; umount m; scan n; kmhash export --catalog c | cut -c129- | sort",
       "kmhash: c: 2 files, 2 known\n  n/jpeg-baseline.jpg\n  n/png-rgb.png\n"},
      {"away",
       "umount n; scan n; rmdir n; scan n; scan p; scan .; kmhash status --catalog c | grep not",
       "kmhash: n/: its disk is not here; what is recorded of it stays as it is\n"
       "kmhash: n/: its disk is not here; what is recorded of it stays as it is\n"
       "kmhash: c: 5 files, 5 new, 1 unsupported\n"
       "kmhash: n/: its disk is not here; what is recorded of it stays as it is\n"
       "kmhash: c: 5 files, 5 known\n"
       "          2    28.4 kB  n/  (its disk is not here)\n"},
      {"mounted below",
       "mkdir p/n; mount -t tmpfs none p/n; cp p/*.opus p/n; old p/n;"
       "scan --one-file-system p; scan p; umount p/n; scan p",
       "kmhash: c: 5 files, 5 known, 1 passed over\nkmhash: c: 6 files, 5 known, 1 new\n"
       "kmhash: p/n/: its disk is not here; what is recorded of it stays as it is\n"
       "kmhash: c: 5 files, 5 known\n"},
      {"hidden by a mount",
       "mkdir p/h; cp p/*.opus p/h; old p/h; { scan p; mount -t tmpfs none p/h; scan p; umount p/h;"
       "scan p; } | grep c:",
       "kmhash: c: 6 files, 5 known, 1 new\nkmhash: c: 5 files, 5 known\n"
       "kmhash: c: 6 files, 6 known\n"},
  });
}

TEST_F(Catalogues, KnowADiskByItsFileSystem) {
  if (run("mkdir m n; for i in e f; do truncate -s 9M $i; mkfs.ext4 -q $i; done; cp e empty;"
          "mount -o loop e m && cp p/*.* m && old m && umount m && echo yes") != "yes\n")
    GTEST_SKIP() << "no image of a disk can be mounted here";
  expect({
      {"at two places",
       "cp e copy; mount -o loop e m; scan m; umount m; mount -o loop e n; scan n; umount n",
       "kmhash: c: 4 files, 4 new\nkmhash: c: 4 files, 4 known\n"},
      {"another one at its place",
       "mount -o loop f n; scan n; umount n; kmhash status --catalog c --list missing",
       "kmhash: n/: its disk is not here; what is recorded of it stays as it is\n"},
      {"forgotten while another one is there, whose folder is another",
       "mount -o loop f n; mkdir n/f; cp p/*.png n/f; old n; scan n/f; cp c d;"
       "kmhash forget --catalog c n; kmhash status --catalog c | grep 'n/ ';"
       "kmhash forget --absent --catalog d n; kmhash status --catalog d | grep 'n/ '; umount n",
       "kmhash: c: 1 file, 1 new\n"
       "kmhash: n: nothing is forgotten of a disk that was mounted there before; --absent does "
       "that\n"
       "kmhash: c: 1 file forgotten\n"
       "          4    32.3 kB  n/  (its disk is not here)\n"
       "kmhash: d: 4 files forgotten\n"},
      {"a copy of it",
       "mount -o loop e n; mount -o loop copy m; rm m/*.png; scan m; scan n; umount n m",
       "kmhash: m/: the disk is a copy of the one at n/, with the same UUID; it is not scanned\n"
       "kmhash: c: 4 files, 4 known\n"},
  });
}

TEST_F(Catalogues, KeepWhatFitsOnAFullDisk) {
  if (!canMount()) GTEST_SKIP() << "nothing can be mounted here";
  run("mkdir m p/many; mount -t tmpfs -o size=1m none m;"
      "for i in $(seq 3000); do { cat p/webp.webp; echo $i; } >p/many/$i.webp; done; old p");
  EXPECT_EQ(run("kmhash scan --catalog m/c p; echo $?"),
            "kmhash: m/c: no space is left for the catalogue\n1\n");
  EXPECT_EQ(run("mount -o remount,size=40m m; kmhash scan --catalog m/c p 2>&1 | grep -c known;"
                "kmhash scan --catalog d p 2>/dev/null; export_of d >e; export_of m/c | cmp - e"),
            "1\n");
  EXPECT_EQ(
      run("cat /dev/zero >m/full 2>/dev/null; for f in p/many/*; do echo >>$f; done;"
          "kmhash verify --catalog m/c p 2>&1 >/dev/null; echo $?; umount m"),
      "kmhash: m/c: no space is left for the catalogue\nkmhash: verify: nothing was verified\n1\n");
}

TEST_F(Catalogues, RefuseAndLeaveWhatTheyCannotUse) {
  run("scan p; mkdir r");
  const Step rows[] = {
      {"newer", "printf '\\0\\0\\0\\143' | dd of=r/c bs=1 seek=60 conv=notrunc",
       "the catalogue was made by a newer kmhash; this one cannot read it"},
      {"of another program", "printf abcd | dd of=r/c bs=1 seek=68 conv=notrunc",
       "is no catalogue"},
      {"a text", "echo text >r/c", "is no catalogue"},
      {"cut", "truncate -s 20000 r/c", "the catalogue is damaged"},
      {"overwritten", "dd if=/dev/zero of=r/c bs=4096 seek=1 count=9 conv=notrunc",
       "the catalogue is damaged"},
  };
  for (const Step& row : rows) {
    const std::string told = text::format("kmhash: r/c: {}\n1\n", row.expected);
    for (const char* command : {"scan p", "status", "import c", "forget p"}) {
      EXPECT_EQ(run(text::format(
                    "cp c r; ({}) 2>/dev/null; cp r/c copy; kmhash {} --catalog r/c; echo $?;"
                    "cmp r/c copy; rm -f r/c-*",
                    row.script, command)),
                told)
          << row.rule << ' ' << command;
    }
  }
  EXPECT_EQ(run("flock c-lock kmhash scan --catalog c p; kmhash status --catalog c | head -1"),
            "kmhash: c: another kmhash is writing to the catalogue; try again when it has "
            "ended\nfiles\n");
  EXPECT_EQ(run("XDG_DATA_HOME=$PWD/x kmhash scan p; ls x/kmhash"),
            "kmhash: x/kmhash/catalogue.db: 5 files, 5 new, 1 unsupported; 32.3 kB read\n"
            "kmhash: to list them: kmhash status --list unsupported\ncatalogue.db\n");
}

}  // namespace
