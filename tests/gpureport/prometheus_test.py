#!/usr/bin/python3
"""Lets node-exporter and a Prometheus server read gpureport's metrics, and asks the server."""
import json
import os
import re
import shutil
import socket
import subprocess
import tempfile
import time
import urllib.parse
import urllib.request

import yaml
from samples import HEALTHY, HOSTILE, HOSTILE_NAMES, LIBRARY, NONE, ROOT, TORN, crashed, form, run

STATES = {"healthy": HEALTHY, "torn": TORN, "none": NONE, "hostile": HOSTILE, "crashed": crashed()}


def guide_blocks(kind):
    with open(ROOT + "/docs/fleet.md", encoding="utf-8") as guide:
        return re.findall(rf"```{kind}\n(.*?)```", guide.read(), re.S)


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
        os.mkdir(root + "/metrics")
        with open(root + "/rules.yml", "w", encoding="utf-8") as rules:
            rules.write(guide_blocks("yaml")[0])
        with open(root + "/prometheus.yml", "w", encoding="utf-8") as config:
            json.dump({"global": {"scrape_interval": "1s", "evaluation_interval": "1s"},
                       "rule_files": [root + "/rules.yml"],
                       "scrape_configs": [{"job_name": "node", "static_configs": [
                           {"targets": [f"127.0.0.1:{exporter}"]}]}]}, config)
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

    def show(self, report):
        path = self.folder.name + "/metrics/gpuprobe.prom"
        with open(path + ".new", "w", encoding="utf-8") as file:
            file.write(form("prometheus", report))
        os.rename(path + ".new", path)

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
    for state, report in STATES.items():
        text = form("prometheus", report)
        said = subprocess.run(["promtool", "check", "metrics"], input=text.encode(), check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        assert said.returncode == 0 and not said.stdout, (state, said.stdout)
        families.add(tuple(re.findall("^# .*", text, re.M)))
    assert len(families) == 1, "HELP and TYPE differ between states"


def prometheus_scrapes_and_answers():
    with Server() as server:
        server.show(HEALTHY)
        report = json.loads(form("json", HEALTHY))
        memory = server.ask("gpuprobe_gpu_memory_bytes")
        assert {(one["api"], one["gpu"], int(one["value"])) for one in memory} == {
            (api, str(index), gpu["memory_bytes"]) for api in ("opengl", "opencl")
            for index, gpu in enumerate(report[api]["gpus"])}
        assert server.ask("ALERTS", lambda found: True) == []

        server.show(crashed())
        alerts = server.ask('ALERTS{alertstate="firing"}', lambda found: len(found) > 1)
        assert {one["alertname"] for one in alerts} == {"GpuDriverFails", "GpuAnswersMissing"}
        assert [one["library"] for one in server.ask("gpuprobe_incident_info")] == [LIBRARY]
        assert len(server.ask("gpuprobe_opencl_kernel_duration_seconds")) == 1

        server.show(HOSTILE)
        names = {one["name"] for one in server.ask(
            "gpuprobe_gpu_info", lambda found: any("script" in one["name"] for one in found))}
        assert HOSTILE_NAMES[0].decode() in names and HOSTILE_NAMES[2].decode() in names, names
        errors = server.ask("node_textfile_scrape_error")
        assert [one["value"] for one in errors] == ["0"], errors


def what_the_guide_shows_is_valid():
    rules, *objects = guide_blocks("yaml")
    with tempfile.TemporaryDirectory() as folder:
        for name, text in zip(("rules.yml", "gpureport.service", "gpureport.timer"),
                              [rules] + guide_blocks("ini")):
            with open(f"{folder}/{name}", "w", encoding="utf-8") as file:
                file.write(text.replace("/usr/bin/gpureport", "/bin/true"))
        shutil.copy(ROOT + "/tests/gpureport/alerts.yml", folder)
        said = subprocess.run(["promtool", "test", "rules", folder + "/alerts.yml"], check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        assert said.returncode == 0, said.stdout
        said = subprocess.run(["systemd-analyze", "verify", "--man=no",
                               folder + "/gpureport.service", folder + "/gpureport.timer"],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=True).stdout
        assert folder.encode() not in said, said
    kinds = [yaml.safe_load(text)["kind"] for text in objects]
    assert kinds == ["DaemonSet", "Pod"], kinds


run(promtool_likes_every_state, what_the_guide_shows_is_valid, prometheus_scrapes_and_answers)
