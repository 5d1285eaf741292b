"""What a write makes of a file system that lacks something; tests/faults has every failing call."""

import store_client

pytestmark = store_client.needs_plain_program


def test_a_file_system_that_cannot_flush_folders_does_not_fail_the_write():
    with store_client.meter_with('"/a" = 1\n') as folder:
        status, calls = store_client.run_traced(folder, ("set", "/b", "x"),
                                                ("-e", "inject=fsync:error=EINVAL:when=2"))
        assert status == 0
        assert any("EINVAL" in call and "(INJECTED)" in call for call in calls)
        assert (folder / "store.toml").read_text() == '"/a" = 1\n"/b" = "x"\n'
