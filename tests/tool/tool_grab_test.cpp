// ornc-tool grab and events end to end: the files grab writes are read
// back and compared with the virtual sensor's documented scene.
#include <gtest/gtest.h>
#include <png.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <regex>
#include <sstream>
#include <tuple>

#include "aravis_fake_camera.h"
#include "scene.h"
#include "scene_check.h"
#include "temp_dir.h"
#include "tool_test_fixture.h"

namespace tooltest {
namespace {

constexpr int kWidth = 160;
constexpr int kHeight = 120;

struct GrayImage {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels;
};

bool read_png(const std::string& path, GrayImage* image) {
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&png, path.c_str())) return false;
    if (png.format != PNG_FORMAT_GRAY) {
        png_image_free(&png);
        return false;
    }
    image->width = static_cast<int>(png.width);
    image->height = static_cast<int>(png.height);
    image->pixels.resize(PNG_IMAGE_SIZE(png));
    return png_image_finish_read(&png, nullptr, image->pixels.data(), 0, nullptr) != 0;
}

struct Point {
    float x, y, z;
    uint8_t rgb[3], confidence;
};

struct PlyFile {
    std::vector<std::string> properties;
    long vertices = -1;
    std::vector<Point> points;
};

// Reads the PLY grab writes: binary little endian, float xyz, then
// optionally uchar red green blue and uchar confidence.
bool read_ply(const std::string& path, PlyFile* ply) {
    const std::string data = orntest::read_file(path);
    const size_t end = data.find("end_header\n");
    if (data.rfind("ply\nformat binary_little_endian 1.0\n", 0) != 0 || end == std::string::npos) return false;
    for (const std::string& line : lines_of(data.substr(0, end))) {
        if (line.rfind("element vertex ", 0) == 0) ply->vertices = std::stol(line.substr(15));
        if (line.rfind("property ", 0) == 0) ply->properties.push_back(line.substr(9));
    }
    const size_t stride = 12 + ply->properties.size() - 3, body = end + std::strlen("end_header\n");
    if (ply->vertices < 0 || stride > sizeof(Point) ||
        data.size() - body != stride * static_cast<size_t>(ply->vertices))
        return false;
    for (long i = 0; i < ply->vertices; ++i) {
        Point point{};
        std::memcpy(&point, data.data() + body + static_cast<size_t>(i) * stride, stride);
        ply->points.push_back(point);
    }
    return true;
}

// The sensor's scene at the grab's size (its formulas are checked against
// sim/stream/README.md in tests/python), and the number of valid pixels.
ornsim::ScenePixel pixel(uint64_t frame, int u, int v) {
    return ornsim::scene_pixel({kWidth, kHeight, ornsim::kSceneDefaultC16ScaleMm, 0.0f}, frame,
                               static_cast<uint32_t>(u), static_cast<uint32_t>(v));
}
long valid_count(uint64_t frame) {
    long n = 0;
    for (int v = 0; v < kHeight; ++v)
        for (int u = 0; u < kWidth; ++u) n += pixel(frame, u, v).valid ? 1 : 0;
    return n;
}

class GrabTest : public ToolTest {
protected:
    const orntest::TempWorkDir work_;
    const std::string dir_ = work_.path();
};

// The identity a summary.json gives each of its first `count` frames.
struct SummaryFrame {
    unsigned long long block = 0, stamp = 0, frequency = 0;
    long long host_ns = 0;
    unsigned missing = 0;
};
std::vector<SummaryFrame> summary_frames(const std::string& summary, int count) {
    std::vector<SummaryFrame> frames;
    for (int i = 0; i < count; ++i) {
        const size_t at = summary.find("{\"index\": " + std::to_string(i) + ",");
        SummaryFrame f;
        if (at == std::string::npos ||
            std::sscanf(summary.c_str() + at,
                        "{\"index\": %*d, \"block_id\": %llu, \"timestamp\": %llu, \"timestamp_frequency\": %llu, "
                        "\"host_time_ns\": %lld, \"blocks_missing\": %u",
                        &f.block, &f.stamp, &f.frequency, &f.host_ns, &f.missing) != 5) {
            break;
        }
        frames.push_back(f);
    }
    return frames;
}

TEST_F(GrabTest, WritesPointCloudsAndImagesThatMatchTheScene) {
    start_sensor(20, "TOOL-GRAB", kWidth, kHeight);
    const ProgramResult r = run_ok({"grab", "TOOL-GRAB", "-n", "3", "--out", dir_}, 120);
    expect_has(r.out, {"3 frames in ", dir_ + "/summary.json"});

    for (int frame = 0; frame < 3; ++frame) {
        SCOPED_TRACE("frame " + std::to_string(frame));
        char stem[64];
        std::snprintf(stem, sizeof stem, "/frame_%04d", frame);
        GrayImage intensity, confidence;
        ASSERT_TRUE(read_png(dir_ + stem + "_intensity.png", &intensity));
        ASSERT_TRUE(read_png(dir_ + stem + "_confidence.png", &confidence));
        ASSERT_EQ(std::make_tuple(intensity.width, intensity.height, confidence.width, confidence.height),
                  std::make_tuple(kWidth, kHeight, kWidth, kHeight));
        // Both images whole, byte for byte; the frame number from the intensity.
        const orntest::ImageCopy mono{false, kWidth, kHeight, 1, ORN_PIX_MONO8, intensity.pixels};
        const uint64_t f = orntest::frame_from_intensity(mono);
        EXPECT_EQ(orntest::check_part(mono, f), "");
        EXPECT_EQ(orntest::check_part({false, kWidth, kHeight, 1, ORN_PIX_CONF8, confidence.pixels}, f), "");

        PlyFile ply;
        ASSERT_TRUE(read_ply(dir_ + stem + "_range.ply", &ply));
        EXPECT_EQ(ply.properties, (std::vector<std::string>{"float x", "float y", "float z", "uchar red", "uchar green",
                                                            "uchar blue", "uchar confidence"}));
        EXPECT_EQ(ply.vertices, valid_count(f));
        long mismatches = 0;
        for (const Point& p : ply.points) {
            const int u = static_cast<int>(std::lround(static_cast<double>(p.x) / 0.5 + (kWidth - 1) / 2.0));
            const int v = static_cast<int>(std::lround(static_cast<double>(p.y) / 0.5 + (kHeight - 1) / 2.0));
            const bool inside = u >= 0 && u < kWidth && v >= 0 && v < kHeight;
            const ornsim::ScenePixel want = inside ? pixel(f, u, v) : ornsim::ScenePixel{};
            const bool ok = inside && want.valid && std::fabs(p.z - want.z_mm) < 1e-3f &&
                            std::vector<uint8_t>(p.rgb, p.rgb + 3) == std::vector<uint8_t>(3, want.intensity) &&
                            p.confidence == want.confidence;
            // The first few mismatches are reported.
            EXPECT_TRUE(ok || ++mismatches > 3)
                << "point (" << p.x << ", " << p.y << ", " << p.z << ") red " << int(p.rgb[0]) << " confidence "
                << int(p.confidence) << " does not match pixel " << u << "," << v;
        }
    }
    const std::string summary = orntest::read_file(dir_ + "/summary.json");
    expect_has(summary,
               {"\"frames_written\": 3", "\"serial\": \"TOOL-GRAB\"", "\"points\": " + std::to_string(valid_count(1))});
    // Each frame's identity: rising block ids, none lost by the library,
    // the device stamp in ticks and on the host's clock.
    const std::vector<SummaryFrame> frames = summary_frames(summary, 3);
    ASSERT_EQ(frames.size(), 3u) << summary;
    for (size_t i = 0; i < frames.size(); ++i) {
        EXPECT_GT(frames[i].block, i == 0 ? 0 : frames[i - 1].block);
        EXPECT_GT(frames[i].stamp, 0u);
        EXPECT_GT(frames[i].frequency, 0u);
        EXPECT_GT(frames[i].host_ns, 0);
        EXPECT_EQ(frames[i].missing, 0u);
    }
}

TEST_F(GrabTest, ReconnectGrabsOnAcrossALinkLossAndListsTheOutage) {
    ornsim::FaultSwitches outage;
    outage.silent_after_s = 1.5;
    outage.silent_for_s = 7.0;
    ASSERT_TRUE(start_sensor(23, "TOOL-GRAB-L", 32, 24).set_faults(outage));
    run_ok({"grab", "TOOL-GRAB-L", "-n", "300", "--out", dir_, "--reconnect"}, 120);
    const std::string summary = orntest::read_file(dir_ + "/summary.json");
    EXPECT_NE(summary.find("\"frames_written\": 300"), std::string::npos) << summary;
    std::smatch m;
    ASSERT_TRUE(std::regex_search(summary, m,
                                  std::regex("\"outages\": \\[\n +\\{\"start_s\": ([0-9.]+), \"end_s\": ([0-9.]+), "
                                             "\"frames_lost\": ([0-9]+)\\}\n  \\]")))
        << summary;
    EXPECT_GT(std::stod(m[1]), 1.5);
    EXPECT_GT(std::stod(m[2]), std::stod(m[1]));
    EXPECT_GT(std::stol(m[3]), 50) << "seven seconds at 50 frames a second";
}

TEST_F(GrabTest, EventsPrintsFrameEventsAndParameterChanges) {
    start_sensor(22, "TOOL-EVENTS", kWidth, kHeight);
    const ProgramResult r =
        run_ok({"events", "TOOL-EVENTS", "--event", "FrameEnd", "--acquire", "--count", "3", "--seconds", "20"});
    EXPECT_NE(r.out.find("parameter  EventNotification = On"), std::string::npos) << r.out;
    std::smatch m;
    // Each event line carries its data features, read back from the event.
    ASSERT_TRUE(std::regex_search(
        r.out, m,
        std::regex("event  FrameEnd  timestamp (\\d+)  EventFrameEndTimestamp=(\\d+)  EventFrameEndFrameID=(\\d+)")))
        << r.out;
    EXPECT_EQ(m[1], m[2]) << "the data feature holds the event's own timestamp";
    EXPECT_GE(std::stol(m[3]), 1);
    ASSERT_TRUE(std::regex_search(r.out, m, std::regex("(\\d+) events in"))) << r.out;
    EXPECT_GE(std::stol(m[1]), 3);
    // The notification was switched off again at the end.
    expect_output({"get", "TOOL-EVENTS", "EventNotification"}, "Off\n");
    expect_has(tool({"events", "--help"}).out,
               {"--seconds S    stop after S seconds", "--count N      stop after N events"});
}

// What grab changes it puts back, or names when asked to keep it; a refusal
// comes before any change and any directory; summary paths are relative to
// the summary, and a single frame has no rate. --components limits what is
// sent and written.
TEST_F(GrabTest, PutsBackWhatItChangedAndRefusesBeforeChanging) {
    start_sensor(23, "TOOL-GRAB-S", kWidth, kHeight);
    tool({"set", "TOOL-GRAB-S", "TriggerMode", "On"});
    tool({"set", "TOOL-GRAB-S", "AcquisitionMode", "SingleFrame"});
    const std::string components = tool({"components", "TOOL-GRAB-S"}).out;
    struct Run {
        std::vector<std::string> args;
        int code;
        const char* message;
    };
    for (const Run& run :
         {Run{{"--components", "Range:Coord3D_C16,Bogus"}, 1, "offers Range (Coord3D_ABC32f, Coord3D_C16)"},
          Run{{"--format", "obj"}, 2, "--format takes ply, pcd or xyz"}, Run{{"--components", "Colour"}, 1, ""},
          Run{{"-n", "0"}, 2, ""}, Run{{"--pacing", "1,65"}, 2, ""},
          Run{{"-n", "1", "--components", "Range:Coord3D_C16"}, 0, ""}}) {
        const std::string out = dir_ + "/run" + std::to_string(run.code);
        std::vector<std::string> args{"grab", "TOOL-GRAB-S", "--out", out};
        args.insert(args.end(), run.args.begin(), run.args.end());
        expect_failure(args, run.code, run.message);
        EXPECT_EQ(access(out.c_str(), F_OK) == 0, run.code == 0) << out;
        EXPECT_EQ(tool({"components", "TOOL-GRAB-S"}).out, components);
        expect_output({"get", "TOOL-GRAB-S", "TriggerMode"}, "On\n");
        expect_output({"get", "TOOL-GRAB-S", "AcquisitionMode"}, "SingleFrame\n");
    }
    expect_failure({"grab", "NO-SUCH-DEVICE", "--out", dir_ + "/none"}, 3, "");
    EXPECT_NE(access((dir_ + "/none").c_str(), F_OK), 0);
    expect_has(orntest::read_file(dir_ + "/run0/summary.json"),
               {"\"files\": [\"frame_0000_range.ply\"]", "\"frames_per_second\": null"});

    const ProgramResult r = tool({"grab", "TOOL-GRAB-S", "-n", "1", "--out", dir_, "--components", "Range", "--pacing",
                                  "1,16", "--keep-settings"});
    expect_has(r.err, {"left changed (--keep-settings): component Intensity: on Mono8, now off",
                       "left changed (--keep-settings): TriggerMode: On, now Off"});
    expect_output({"get", "TOOL-GRAB-S", "AcquisitionMode"}, "Continuous\n");
    PlyFile ply;
    ASSERT_TRUE(read_ply(dir_ + "/frame_0000_range.ply", &ply));
    EXPECT_EQ(ply.properties, (std::vector<std::string>{"float x", "float y", "float z"}));
    const std::vector<SummaryFrame> frames = summary_frames(orntest::read_file(dir_ + "/summary.json"), 1);
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(ply.vertices, valid_count(frames[0].block));
    EXPECT_TRUE(std::regex_search(tool({"components", "TOOL-GRAB-S"}).out,
                                  std::regex("Intensity +Mono8 \\(0x01080001\\) +no")));
}

// Ctrl-C ends grab and events with 130; a disk that fills leaves no file
// under a final name that is not whole.
TEST_F(GrabTest, InterruptAndFullDiskEndCleanly) {
    if (geteuid() != 0) GTEST_SKIP() << "mounting a small file system needs root";
    start_sensor(19, "TOOL-GRAB-I", kWidth, kHeight);
    const std::string script =
        "wait_for() { i=0; while ! grep -qs \"$1\" \"$2\" && [ $i -lt 400 ]; do sleep 0.05; i=$((i+1)); done; }\n"
        "\"$0\" grab TOOL-GRAB-I -n 100000 --out \"$1\" > \"$1.grab\" & p=$!\n"
        "wait_for . \"$1/frame_0001_range.ply\"; kill -INT $p; wait $p; echo grab $?\n"
        "\"$0\" events TOOL-GRAB-I --seconds 60 > \"$1.events\" & p=$!\n"
        "wait_for Watching \"$1.events\"; kill -INT $p; wait $p; echo events $?\n"
        "mkdir \"$1/full\"; unshare -m sh -c 'mount -t tmpfs -o size=40k none \"$1\" && "
        "\"$0\" grab TOOL-GRAB-I -n 1 --out \"$1\" >/dev/null 2>&1; echo full $?; ls \"$1\"' \"$0\" \"$1/full\"\n";
    const ProgramResult r =
        orntest::run_program("/bin/sh", {"-c", script, ORNC_TOOL_PATH, dir_}, tool_environment(), 120);
    EXPECT_EQ(r.out, "grab 130\nevents 130\nfull 1\nsummary.json\n") << report(r);
}

// Every form grab writes, read by readers we did not write: Open3D reads
// each file, PCL converts PCD to PLY and PLY to PCD, and Open3D reads PCL's
// files too; point counts, bounds and a pixel against the scene.
TEST_F(GrabTest, Open3dAndPclReadEveryPointCloudForm) {
    const std::string python = "/usr/bin/python3";
    if (orntest::run_program(python, {"-c", "import open3d"}).exit_code != 0 ||
        access("/usr/bin/pcl_pcd2ply", X_OK) != 0) {
        GTEST_SKIP() << "needs python3-open3d and pcl-tools";
    }
    start_sensor(24, "TOOL-GRAB-F", kWidth, kHeight);
    const char* read =
        "import sys, numpy as np, open3d as o3d\n"
        "for f in sys.argv[1:]:\n"
        "    p = np.asarray(o3d.io.read_point_cloud(f, remove_nan_points=False).points)\n"
        "    v = p[~np.isnan(p).any(axis=1)]\n"
        "    print(len(p), len(v), *v.min(0), *v.max(0), *p[60 * 160 + 100])\n";
    struct Form {
        const char* components;
        const char* format;
        bool organized;
        const char* converter;  // PCL's, to the other form
    };
    for (const Form& form : {Form{"Range:Coord3D_C16", "pcd", true, "pcl_pcd2ply"},
                             Form{"Range:Coord3D_ABC32f,Intensity,Confidence", "pcd", false, "pcl_pcd2ply"},
                             Form{"Range:Coord3D_ABC32f,Confidence", "ply", true, "pcl_ply2pcd"},
                             Form{"Range:Coord3D_ABC32f", "xyz", true, nullptr}}) {
        SCOPED_TRACE(std::string(form.components) + " " + form.format);
        const std::string out = dir_ + "/" + form.format + (form.organized ? "o" : "");
        std::vector<std::string> args{"grab",         "TOOL-GRAB-F",   "-n",       "1",        "--out", out,
                                      "--components", form.components, "--format", form.format};
        if (form.organized) args.push_back("--organized");
        ProgramResult r = tool(args, 120);
        ASSERT_EQ(r.exit_code, 0) << report(r);
        const std::vector<SummaryFrame> frames = summary_frames(orntest::read_file(out + "/summary.json"), 1);
        ASSERT_EQ(frames.size(), 1u);
        // Ours, and PCL's conversion of it to the other form (XYZ: ours twice).
        const std::string ours = out + "/frame_0000_range." + form.format;
        std::string theirs = ours;
        if (form.converter != nullptr) {
            theirs += form.format == std::string("pcd") ? ".ply" : ".pcd";
            r = orntest::run_program(std::string("/usr/bin/") + form.converter, {ours, theirs});
            ASSERT_EQ(r.exit_code, 0) << report(r);
        }
        // What the scene says; Coord3D_C16 through the sensor's Scan3d coordinates A, B and C.
        const bool c16 = std::string(form.components).find("C16") != std::string::npos;
        double want[11] = {form.organized ? kWidth * kHeight : 0.0, 0, 1e9, 1e9, 1e9, -1e9, -1e9, -1e9, NAN, NAN, NAN};
        for (int v = 0; v < kHeight; ++v) {
            for (int u = 0; u < kWidth; ++u) {
                const ornsim::ScenePixel px = pixel(frames[0].block, u, v);
                const double xyz[3] = {px.x_mm, px.y_mm, c16 ? px.c16 * 0.05 : double(px.z_mm)};
                for (int i = 0; i < 3 && px.valid; ++i) {
                    want[2 + i] = std::min(want[2 + i], xyz[i]);
                    want[5 + i] = std::max(want[5 + i], xyz[i]);
                    if (u == 100 && v == 60 && form.organized) want[8 + i] = xyz[i];
                }
                want[0] += px.valid && !form.organized ? 1 : 0;
                want[1] += px.valid ? 1 : 0;
            }
        }
        r = orntest::run_program(python, {"-c", read, ours, theirs});
        const std::vector<std::string> lines = lines_of(r.out);
        ASSERT_EQ(lines.size(), 2u) << report(r);
        for (const std::string& line : lines) {
            std::istringstream in(line);
            for (double expected : want) {
                double got = NAN;
                in >> got;
                EXPECT_TRUE(std::isnan(expected) || std::fabs(got - expected) <= 1e-3)
                    << got << " not " << expected << line;
            }
        }
    }
}

// A camera unlike ours (Aravis's fake camera: no multipart selectors, no
// component table, no chunks, no events): every command still works, and
// grab writes each single image as one PNG.
class FakeCameraTool : public orntest::AravisFakeCamera {
protected:
    ProgramResult tool(const std::vector<std::string>& args) {
        const ProgramResult r = orntest::run_program(ORNC_TOOL_PATH, args, {}, 60.0);
        EXPECT_EQ(r.exit_code, 0) << report(r);
        return r;
    }
};

TEST_F(FakeCameraTool, EveryCommandWorksAndGrabWritesOnePngPerFrame) {
    EXPECT_NE(tool({"list"}).out.find(kSerial), std::string::npos);
    EXPECT_NE(tool({"info", kSerial}).out.find("Aravis"), std::string::npos);
    EXPECT_NE(tool({"params", kSerial}).out.find("PixelFormat"), std::string::npos);
    EXPECT_NE(tool({"describe", kSerial, "PixelFormat"}).out.find(" Mono8 = 17301505\n"), std::string::npos);
    EXPECT_NE(tool({"doctor", kSerial}).out.find("\n0 problems found."), std::string::npos);
    tool({"set", kSerial, "Width", "320"});
    EXPECT_EQ(tool({"get", kSerial, "Width"}).out, "320\n");
    const std::string height = tool({"get", kSerial, "Height"}).out;
    tool({"exec", kSerial, "AcquisitionStop"});
    EXPECT_NE(tool({"events", kSerial, "--event", "FrameEnd", "--seconds", "1"}).err.find("no events"),
              std::string::npos);

    const ProgramResult r = tool({"grab", kSerial, "-n", "2", "--out", workdir_.path()});
    EXPECT_NE(r.err.find("no component table"), std::string::npos) << r.err;
    for (const char* file : {"/frame_0000.png", "/frame_0001.png"}) {
        GrayImage image;
        ASSERT_TRUE(read_png(workdir_.path() + file, &image)) << file << "\n" << report(r);
        EXPECT_EQ(std::make_tuple(image.width, image.height), std::make_tuple(320, std::stoi(height)));
    }
    const std::string summary = orntest::read_file(workdir_.file("summary.json"));
    EXPECT_NE(summary.find("\"frames_written\": 2"), std::string::npos) << summary;
    // Its clock runs at 1 GHz.
    const std::vector<SummaryFrame> frames = summary_frames(summary, 2);
    ASSERT_EQ(frames.size(), 2u) << summary;
    EXPECT_GT(frames[1].block, frames[0].block);
    EXPECT_EQ(frames[0].frequency, 1000000000u);

    // The other formats: PNG bit depth and colour type (IHDR bytes 24 and 25).
    for (const auto& format : {std::make_pair("Mono16", "\x10\x00"), {"BayerRG8", "\x08\x00"}, {"RGB8", "\x08\x02"}}) {
        tool({"set", kSerial, "PixelFormat", format.first});
        tool({"grab", kSerial, "-n", "1", "--out", workdir_.file(format.first)});
        const std::string png =
            orntest::read_file(workdir_.file(format.first) + "/frame_0000.png") + std::string(26, 0);
        EXPECT_EQ(png.substr(24, 2), std::string(format.second, 2)) << format.first;
    }

    tool({"dump-xml", kSerial, workdir_.file("fake.xml")});
    EXPECT_NE(orntest::read_file(workdir_.file("fake.xml")).find("<RegisterDescription"), std::string::npos);
}

}  // namespace
}  // namespace tooltest
