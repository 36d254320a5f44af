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
from samples import CRASHED, HOSTILE_NAMES, ROOT, STATES, form, read, run, said


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
    for state in STATES:
        text = form("prometheus", state)
        assert said("promtool", "check", "metrics", input=text.encode()) == "", state
        families.add(tuple(re.findall("^# .*", text, re.M)))
    assert len(families) == 1, "HELP and TYPE differ between states"


def prometheus_scrapes_and_answers():
    with Server() as server:
        server.show("healthy")
        report = json.loads(form("json", "healthy"))
        memory = server.ask("gpuprobe_gpu_memory_bytes")
        assert {(one["api"], one["gpu"], int(one["value"])) for one in memory} == {
            (api, str(index), gpu["memory_bytes"]) for api in ("opengl", "opencl")
            for index, gpu in enumerate(report[api]["gpus"])}
        assert server.ask("ALERTS", lambda found: True) == []

        server.show("crashed")
        alerts = server.ask('ALERTS{alertstate="firing"}', lambda found: len(found) > 1)
        assert {one["alertname"] for one in alerts} == {"GpuDriverFails", "GpuAnswersMissing"}
        (culprit,) = server.ask('gpuprobe_incident_info{kind="crashed"}')
        assert culprit["library"] == CRASHED["incidents"][0]["library"]

        server.show("hostile")
        names = {one["name"] for one in server.ask(
            "gpuprobe_gpu_info", lambda found: any("script" in one["name"] for one in found))}
        assert {HOSTILE_NAMES[0].decode(), HOSTILE_NAMES[2].decode()} <= names, names
        assert [one["value"] for one in server.ask("node_textfile_scrape_error")] == ["0"]


def what_the_guide_shows_is_valid():
    rules, *objects = guide_blocks("yaml")
    with tempfile.TemporaryDirectory() as folder:
        rule_tests, *units = [f"{folder}/{name}" for name in (
            "alerts.yml", "gpureport.service", "gpureport.timer")]
        for path, text in zip([folder + "/rules.yml"] + units, [rules] + guide_blocks("ini")):
            with open(path, "w", encoding="utf-8") as file:
                file.write(text.replace("/usr/bin/gpureport", "/bin/true"))
        shutil.copy(ROOT + "/tests/gpureport/alerts.yml", rule_tests)
        said("promtool", "test", "rules", rule_tests)
        assert folder not in said("systemd-analyze", "verify", "--man=no", *units)
    assert [yaml.safe_load(text)["kind"] for text in objects] == ["DaemonSet", "Pod"]


run(promtool_likes_every_state, what_the_guide_shows_is_valid, prometheus_scrapes_and_answers)
