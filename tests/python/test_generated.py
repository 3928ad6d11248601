"""A generated module: its client and its server over a real hub, and what does not fit."""

import importlib
import ipaddress
import shutil
import subprocess
import threading

import pytest

import vos


@pytest.fixture
def meshd(bin_dir, source_dir, tmp_path, monkeypatch):
    made = [bin_dir / "vosgen", "python", source_dir / "examples/meshd.toml", "-o", tmp_path / "meshd.py"]
    subprocess.run(made, check=True)
    if shutil.which("mypy"):
        monkeypatch.setenv("MYPYPATH", str(source_dir / "python"))
        checked = ["mypy", "--strict", "--cache-dir", "/dev/null", tmp_path / "meshd.py"]
        assert subprocess.run(checked, capture_output=True, text=True).stdout.startswith("Success")
    monkeypatch.syspath_prepend(tmp_path)
    return importlib.import_module("meshd")


def test_client_and_server_understand_each_other(client, meshd):
    class Mesh(meshd.Server):
        def __init__(self, hub):
            super().__init__(hub)
            self.nodes = []

        def add_node(self, payload):
            self.nodes.append(payload)
            self.publish_changed(payload, count=len(self.nodes))
            return meshd.AddNodeReply(len(self.nodes))

        def count(self):
            return meshd.CountReply(len(self.nodes))

        def list_nodes(self, payload):
            return meshd.ListNodesReply(self.nodes, "here", b"\x01")

        def remove_node(self, id):
            raise vos.VosError(vos.Ret.NOT_IN_LIST)

        def node_by_name(self, payload):
            return -1 if payload.name == "hall" else 0

        def poke(self):
            self._hub.stop()

    def serve():
        with vos.Connection("meshd") as hub:
            Mesh(hub)
            ready.set()
            hub.run(stop_signals=())

    ready = threading.Event()
    server = threading.Thread(target=serve)
    server.start()
    assert ready.wait(20)
    mesh = meshd.Client.find(client)
    address = ipaddress.IPv6Address("2001:db8::1")
    node = meshd.Node(7, "00:11:22:33:44:55", meshd.Feature.ROAMING, meshd.Band.GHZ5, True, "hall", address, [1, 2], -5)
    seen = []
    mesh.on_changed(lambda *event: seen.append(event))
    assert mesh.add_node(node).count == mesh.count().count == 1
    assert mesh.list_nodes(meshd.Band.GHZ24) == meshd.ListNodesReply([node], "here", b"\x01")
    assert mesh.node_by_name("hall") == -1
    with pytest.raises(vos.VosError) as refused:
        mesh.remove_node(8)
    assert refused.value.code == vos.Ret.NOT_IN_LIST
    with pytest.raises(vos.BadArgument):
        client.request("meshd", meshd.LIST_NODES_TYPE, b"xx")
    client.dispatch(client.receive(5))
    assert seen == [(node, 1)]
    mesh.poke()
    server.join(20)
    for value in (bytes(71), bytes(13) + b"\2" + bytes(58)):
        with pytest.raises(vos.BadArgument):
            meshd.Node.unpack(value)
