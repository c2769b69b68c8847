"""Runs every command of the captions cookbook as it stands there, and looks at what the files then hold."""
import json
import re
import subprocess
import unittest
from pathlib import Path

from captionfiles import SUBTITLES, cues, scc, stl
from judges import Case, ZENQUOR

PAGE = Path(__file__).resolve().parents[2] / "docs" / "captions.md"


class Cookbook(Case):
    def test_every_recipe_runs_and_gives_what_it_promises(self):
        recipes = re.findall(r"^```sh\n(.*?)^```", PAGE.read_text(encoding="utf-8"), re.M | re.S)
        self.assertGreater(len(recipes), 7)
        (self.folder / "programme.srt").write_text(SUBTITLES, encoding="utf-8")
        (self.folder / "teletext.stl").write_bytes(stl([("10:00:01:00", "10:00:03:00", ["Guten Abend,", "meine Damen"])]))
        (self.folder / "damaged.scc").write_text(scc(["00:00:01;00\t9420 9420 94AE 94zz", "00:00:00;84\t942c 942c"]))
        for recipe in recipes:
            script = f'set -eo pipefail\nzenquor() {{ "{ZENQUOR}" "$@"; }}\n{recipe}'
            done = subprocess.run(["bash", "-c", script], cwd=self.folder, capture_output=True, text=True, timeout=240)
            self.assertEqual(done.returncode, 0, f"{recipe}\n{done.stdout}\n{done.stderr}")

        wanted = [text for _, _, text in cues(SUBTITLES)]
        for name in ("back", "back-from-mcc", "back-french", "captioned", "from-mxf", "teletext-from-mxf"):
            texts = [text for _, _, text in cues((self.folder / f"{name}.srt").read_text(encoding="utf-8"))]
            self.assertEqual(texts, wanted, name)
        for name in ("seen-as-captions", "seen-as-teletext"):
            text = (self.folder / f"{name}.srt").read_text(encoding="utf-8")
            self.assertIn("Guten Abend,\nmeine Damen", text, name)
        self.assertTrue(json.loads((self.folder / "damaged.json").read_text())["remarks"])


if __name__ == "__main__":
    unittest.main()
