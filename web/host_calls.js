// Defines the functions of host_calls.h for emcc. `Module.host` is the host object in the options of
// createProgram.
mergeInto(LibraryManager.library, {
    host_wait_for_key: function (milliseconds) {
        return Asyncify.handleSleep(wake => Module.host.waitForKey(milliseconds, wake));
    },
    host_time_left: function () {
        return Module.host.timeLeft();
    },
    host_pause: function (milliseconds) {
        Asyncify.handleSleep(wake => Module.host.pause(milliseconds, wake));
    },
    host_local_modes: function () {
        return Module.host.localModes();
    },
    host_set_local_modes: function (modes) {
        Module.host.setLocalModes(modes);
    },
});
