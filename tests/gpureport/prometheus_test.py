#!/usr/bin/python3
"""Lets node-exporter and a Prometheus server read gpureport's metrics, and asks the server."""
import json
import pathlib
import re
import socket
import subprocess
import tempfile
import time
import urllib.parse
import urllib.request

import yaml
from samples import CRASHED, HOSTILE_NAMES, STATES, form, read, run, said


def guide_blocks(kind):
    return re.findall(rf"```{kind}\n(.*?)```", read("docs/fleet.md"), re.S)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Server:
    """node-exporter over a folder of metrics and a Prometheus that scrapes it every second."""

    def __enter__(self):
        self.folder = tempfile.TemporaryDirectory()
        root, exporter, server = self.folder.name, free_port(), free_port()
        self.url = f"http://127.0.0.1:{server}/api/v1/query?query="
        pathlib.Path(root, "metrics").mkdir()
        pathlib.Path(root, "rules.yml").write_text(guide_blocks("yaml")[0], encoding="utf-8")
        pathlib.Path(root, "prometheus.yml").write_text(json.dumps({
            "global": {"scrape_interval": "1s", "evaluation_interval": "1s"},
            "rule_files": [root + "/rules.yml"],
            "scrape_configs": [{"job_name": "node", "static_configs": [
                {"targets": [f"127.0.0.1:{exporter}"]}]}]}), encoding="utf-8")
        self.children = [subprocess.Popen(command, stdout=subprocess.DEVNULL,
                                          stderr=subprocess.DEVNULL) for command in (
            ["prometheus-node-exporter", "--collector.disable-defaults", "--collector.textfile",
             f"--collector.textfile.directory={root}/metrics",
             f"--web.listen-address=127.0.0.1:{exporter}"],
            ["prometheus", f"--config.file={root}/prometheus.yml",
             f"--storage.tsdb.path={root}/data", f"--web.listen-address=127.0.0.1:{server}"])]
        return self

    def __exit__(self, *_):
        for child in self.children:
            child.terminate()
            child.wait(30)
        self.folder.cleanup()

    def show(self, state):
        path = pathlib.Path(self.folder.name, "gpuprobe.prom")
        path.write_text(form("prometheus", state), encoding="utf-8")
        path.rename(path.parent / "metrics" / path.name)

    def ask(self, query, until=len):
        """The labels of what a query gives, as soon as they are what is waited for."""
        end = time.time() + 60
        while True:
            try:
                with urllib.request.urlopen(self.url + urllib.parse.quote(query)) as reply:
                    found = [{**one["metric"], "value": one["value"][1]}
                             for one in json.load(reply)["data"]["result"]]
                if until(found):
                    return found
            except OSError:
                found = "no server"
            assert time.time() < end, f"{query}: {found}"
            time.sleep(0.3)


def promtool_likes_every_state():
    families = set()
    for state in STATES:
        text = form("prometheus", state)
        assert said("promtool", "check", "metrics", input=text.encode()) == "", state
        families.add(tuple(re.findall("^# .*", text, re.M)))
    assert len(families) == 1, "HELP and TYPE differ between states"


def prometheus_scrapes_and_answers():
    with Server() as server:
        server.show("healthy")
        server.ask("gpuprobe_gpu_memory_bytes", lambda found: len(found) == 4)
        assert server.ask("ALERTS", lambda found: True) == []

        server.show("crashed")
        # The sample is a report of long ago.
        expected = {"GpuDriverFails", "GpuAnswersMissing", "GpuReportStale"}
        server.ask('ALERTS{alertstate="firing"}',
                   lambda found: {one["alertname"] for one in found} == expected)
        (culprit,) = server.ask('gpuprobe_incident_info{kind="crashed"}')
        assert culprit["library"] == CRASHED["incidents"][0]["library"]

        server.show("hostile")
        names = {one["name"] for one in server.ask(
            "gpuprobe_gpu_info", lambda found: any("script" in one["name"] for one in found))}
        assert {HOSTILE_NAMES[0].decode(), HOSTILE_NAMES[2].decode()} <= names, names
        assert [one["value"] for one in server.ask("node_textfile_scrape_error")] == ["0"]


def what_the_guide_shows_is_valid():
    rules, *objects = guide_blocks("yaml")
    files = {"rules.yml": rules, "alerts.yml": read("tests/gpureport/alerts.yml"),
             **dict(zip(("gpureport.service", "gpureport.timer"), guide_blocks("ini")))}
    with tempfile.TemporaryDirectory() as folder:
        for name, text in files.items():
            pathlib.Path(folder, name).write_text(
                text.replace("/usr/bin/gpureport", "/bin/true"), encoding="utf-8")
        said("promtool", "test", "rules", folder + "/alerts.yml")
        assert folder not in said("systemd-analyze", "verify", "--man=no",
                                  folder + "/gpureport.service", folder + "/gpureport.timer")
    assert [yaml.safe_load(text)["kind"] for text in objects] == ["DaemonSet", "Pod"]


run(promtool_likes_every_state, what_the_guide_shows_is_valid, prometheus_scrapes_and_answers)
