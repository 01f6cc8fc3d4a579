// CUFileInfoMainLoopTest.cpp — a copy made from inside an application's main loop on GLib's
// global default context (as a GTK program runs it) keeps that loop's sources served.
#include "fakes/FileFaults.h"
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUFile.h>

#include <glib.h>

#include <gtest/gtest.h>

#include <string>

using namespace varn::test;

namespace {

struct Scene {
    std::string source, destination;
    GMainLoop* loop = nullptr;
    int ticks = 0;
    unsigned int status = 99;
};

} // namespace

TEST(CUFileInfo, CopyFromTheGlobalMainLoopKeepsItsTimersFiring) {
    TempFolder dir;
    Scene scene{dir.File("src"), dir.File("dst")};
    WriteFile(scene.source, Pattern(64u << 20));
    scene.loop = g_main_loop_new(nullptr, FALSE);
    guint const timer = g_timeout_add(
        1,
        [](gpointer s) -> gboolean {
            ++static_cast<Scene*>(s)->ticks;
            return G_SOURCE_CONTINUE;
        },
        &scene);
    g_idle_add(
        [](gpointer s) -> gboolean {
            auto* scene = static_cast<Scene*>(s);
            int const before = scene->ticks;
            scene->status = CopyFile(scene->source, scene->destination);
            scene->ticks -= before; // only the ticks served while the copy ran
            g_main_loop_quit(scene->loop);
            return G_SOURCE_REMOVE;
        },
        &scene);
    g_main_loop_run(scene.loop);
    g_source_remove(timer);
    g_main_loop_unref(scene.loop);
    EXPECT_EQ(0u, scene.status);
    EXPECT_GT(scene.ticks, 0) << "the application's 1 ms timer never ran during the copy";
}
