// The tracker, the line of sight, and the sensor's base and stage. x, y and z of the scene are the tracker's; rows may be
// in machine coordinates, whose place in the tracker frame the group `rows` has.
"use strict";

korPage.Scene = class {
  constructor(element, recording) {
    this.element = element;
    this.recording = recording;
    this.sight = recording.manifest.sight;
    this.distance = 3.4; // from tracker to sensor as it is drawn, for a base of half a unit
    this.renderer = new THREE.WebGLRenderer({ antialias: true, alpha: true, preserveDrawingBuffer: true });
    this.renderer.setPixelRatio(Math.min(2, window.devicePixelRatio || 1));
    element.append(this.renderer.domElement);
    this.scene = new THREE.Scene();
    this.camera = new THREE.PerspectiveCamera(32, 1, 0.1, 100);
    this.camera.up.set(0, 0, 1);
    this.scene.add(new THREE.AmbientLight(0xffffff, 0.62));
    const lamp = new THREE.DirectionalLight(0xffffff, 0.55);
    lamp.position.set(2, -3, 5);
    this.scene.add(lamp);
    this.painted = []; // [material, name of a colour]
    this.labels = [];
    this.build();
    this.placeRows();
    this.lookAsAtFirst();
    this.listen();
    new ResizeObserver(() => this.resize()).observe(element);
    this.resize();
    this.repaint();
  }

  material(colour, options = {}) {
    const material = new THREE.MeshLambertMaterial({ transparent: true, ...options });
    this.painted.push([material, colour]);
    return material;
  }

  arrow(direction, length, colour, text) {
    const group = new THREE.Group();
    const material = this.material(colour);
    const shaft = new THREE.Mesh(new THREE.CylinderGeometry(0.022, 0.022, length, 12), material);
    shaft.position.y = length / 2;
    const head = new THREE.Mesh(new THREE.ConeGeometry(0.065, 0.18, 20), material);
    head.position.y = length + 0.09;
    group.add(shaft, head);
    group.quaternion.setFromUnitVectors(new THREE.Vector3(0, 1, 0), direction);
    const label = this.label(text, colour);
    label.position.y = length + 0.34;
    group.add(label);
    return group;
  }

  label(text, colour, size = 0.3) {
    const canvas = document.createElement("canvas");
    canvas.height = 64;
    const wide = text.length > 1;
    canvas.width = wide ? 256 : 64;
    const sprite = new THREE.Sprite(
      new THREE.SpriteMaterial({ map: new THREE.CanvasTexture(canvas), depthTest: false, transparent: true }),
    );
    sprite.scale.set(wide ? 4 * size : size, size, 1);
    this.labels.push({ text, colour, canvas, sprite });
    return sprite;
  }

  axes(length) {
    return [
      this.arrow(new THREE.Vector3(1, 0, 0), length, "axis-x", "x"),
      this.arrow(new THREE.Vector3(0, 1, 0), length, "axis-y", "y"),
      this.arrow(new THREE.Vector3(0, 0, 1), length, "axis-z", "z"),
    ];
  }

  build() {
    const upright = Math.PI / 2;
    this.tracker = new THREE.Group();
    const foot = new THREE.Mesh(new THREE.CylinderGeometry(0.2, 0.26, 0.3, 32), this.material("body"));
    foot.rotation.x = upright;
    foot.position.z = -0.3;
    const head = new THREE.Mesh(new THREE.SphereGeometry(0.16, 32, 24), this.material("stage"));
    const named = this.label("tracker", "ink", 0.26);
    named.position.z = -0.68;
    this.trackerAxes = new THREE.Group();
    this.trackerAxes.add(...this.axes(0.7));
    this.tracker.add(foot, head, named, this.trackerAxes);

    // The base carries the azimuth stage, which carries the elevation head.
    this.base = new THREE.Group();
    this.base.matrixAutoUpdate = false;
    const plate = new THREE.Mesh(new THREE.CylinderGeometry(0.5, 0.5, 0.12, 48), this.material("body"));
    plate.rotation.x = upright;
    plate.position.z = -0.3;
    this.base.add(plate, ...this.axes(0.85));
    this.stage = new THREE.Group();
    const turntable = new THREE.Mesh(new THREE.CylinderGeometry(0.34, 0.34, 0.06, 48), this.material("stage"));
    turntable.rotation.x = upright;
    turntable.position.z = -0.2;
    this.stage.add(turntable);
    const alongX = this.sight.forward === "x";
    for (const side of [-1, 1]) {
      const arm = new THREE.Mesh(new THREE.BoxGeometry(0.1, 0.1, 0.36), this.material("stage"));
      arm.position.set(alongX ? 0 : side * 0.24, alongX ? side * 0.24 : 0, 0);
      this.stage.add(arm);
    }
    this.head = new THREE.Group();
    const body = new THREE.Mesh(new THREE.SphereGeometry(0.17, 32, 24), this.material("body"));
    const lens = new THREE.Mesh(new THREE.CylinderGeometry(0.09, 0.11, 0.2, 32), this.material("sight"));
    lens.position.set(alongX ? -0.2 : 0, alongX ? 0 : -0.2, 0);
    if (alongX) {
      lens.rotation.z = upright;
    }
    this.head.add(body, lens);
    this.stage.add(this.head);
    this.base.add(this.stage);

    const line = new THREE.LineDashedMaterial({ dashSize: 0.09, gapSize: 0.06 });
    this.painted.push([line, "sight"]);
    this.line = new THREE.Line(new THREE.BufferGeometry(), line);
    this.line.frustumCulled = false;
    this.rows = new THREE.Group();
    this.rows.matrixAutoUpdate = false;
    this.rows.add(this.base, this.line);
    this.scene.add(this.tracker, this.rows);
  }

  // Where the frame of the rows' matrices stands in the tracker frame, if that is known.
  placeRows() {
    const { frame, machine, position } = this.sight;
    this.trackerAxes.visible = frame === "tracker";
    this.complaint = "";
    if (frame !== "machine") {
      return;
    }
    const m = machine.map(Number); // null where the file has no number
    this.rows.matrix.set(m[0], m[1], m[2], 0, m[3], m[4], m[5], 0, m[6], m[7], m[8], 0, 0, 0, 0, 1);
    // The sensor has to stand where the line of sight leads; otherwise the matrices are something else.
    const { poses, manifest } = this.recording;
    const index = poses.nearestRow(manifest.startRow);
    const turn = this.orientation(index);
    const point = new THREE.Vector3(...position.map((column) => poses.value(index, column)));
    const seen = turn && this.sightInBase(this.turns(index, turn)).applyMatrix4(turn).applyMatrix4(this.rows.matrix);
    this.trackerAxes.visible = Boolean(seen) && seen.angleTo(point) < 0.1;
    if (!this.trackerAxes.visible) {
      this.rows.matrix.identity();
      this.complaint =
        " Position and line of sight do not fit machine coordinates, so the matrices are taken for turns since the " +
        "reference (--mcs off), and the tracker's axes are not drawn.";
    }
    this.rows.matrixWorldNeedsUpdate = true;
  }

  // Turns of stage and head in a row, radians.
  turns(index, turn) {
    const { poses } = this.recording;
    if (this.sight.frame === "tracker" && this.sight.position) {
      const point = new THREE.Vector3(...this.sight.position.map((column) => poses.value(index, column))).normalize();
      const seen = point.applyMatrix4(new THREE.Matrix4().getInverse(turn));
      return [Math.atan2(seen.y, seen.x), Math.asin(Math.max(-1, Math.min(1, seen.z)))];
    }
    const { azimuthColumn, elevationColumn, azimuthOffset, elevationOffset, sign } = this.sight;
    const read = (column, offset) => {
      const angle = poses.value(index, column);
      return Number.isFinite(angle) ? (sign * (angle - offset) * Math.PI) / 180 : 0;
    };
    return [read(azimuthColumn, azimuthOffset), read(elevationColumn, elevationOffset)];
  }

  // The matrix of a row, exactly; null if it is not finite.
  orientation(index) {
    const m = this.recording.poses.matrix(index);
    const turn = new THREE.Matrix4();
    turn.set(m[0], m[1], m[2], 0, m[3], m[4], m[5], 0, m[6], m[7], m[8], 0, 0, 0, 0, 1);
    return m.every(Number.isFinite) ? turn : null;
  }

  // Direction from the tracker to the sensor, in the base.
  sightInBase([azimuth, elevation]) {
    const level = Math.cos(elevation);
    const along = level * Math.cos(azimuth);
    const across = level * Math.sin(azimuth);
    return this.sight.forward === "x"
      ? new THREE.Vector3(along, across, Math.sin(elevation))
      : new THREE.Vector3(-across, along, Math.sin(elevation));
  }

  // Shows a row, exactly with its matrix.
  show(index) {
    const { poses, manifest } = this.recording;
    const turn = this.orientation(index);
    const oriented = manifest.labels[poses.labels[index]].oriented;
    this.base.visible = turn !== null;
    this.line.visible = turn !== null;
    if (turn) {
      const turns = this.turns(index, turn);
      const towards = this.sightInBase(turns).applyMatrix4(turn);
      const place = towards.clone().multiplyScalar(this.distance);
      this.base.matrix.copy(turn).setPosition(place);
      this.base.matrixWorldNeedsUpdate = true;
      this.stage.rotation.z = turns[0];
      this.head.rotation.set(this.sight.forward === "x" ? 0 : turns[1], this.sight.forward === "x" ? -turns[1] : 0, 0);
      this.line.geometry.dispose();
      this.line.geometry = new THREE.BufferGeometry().setFromPoints([new THREE.Vector3(), place]);
      this.line.computeLineDistances();
    }
    this.base.traverse((part) => {
      if (part.material) {
        part.material.opacity = oriented ? 1 : 0.3; // the identity stands for an orientation that is not there
      }
    });
    this.render();
  }

  lookAsAtFirst() {
    // From the side of the mean line of sight, a little from above; both ends in the picture.
    const { poses, manifest } = this.recording;
    const mean = new THREE.Vector3();
    const step = Math.max(1, Math.floor(poses.length / 200));
    for (let i = 0; i < poses.length; i += step) {
      const turn = this.orientation(i);
      if (turn && manifest.labels[poses.labels[i]].oriented) {
        mean.add(this.sightInBase(this.turns(i, turn)).applyMatrix4(turn).applyMatrix4(this.rows.matrix));
      }
    }
    if (mean.length() < 1e-3) {
      mean.set(1, 0, 0);
    }
    mean.normalize();
    this.centre = mean.clone().multiplyScalar(this.distance / 2);
    this.centre.z += 0.1;
    this.around = Math.atan2(mean.y, mean.x) - Math.PI / 2.6;
    this.above = 0.42;
    this.far = 1;
  }

  listen() {
    let from = null;
    this.element.addEventListener("pointerdown", (event) => {
      from = event;
      this.element.setPointerCapture(event.pointerId);
    });
    this.element.addEventListener("pointermove", (event) => {
      if (from) {
        this.turn(-(event.clientX - from.clientX) / 150, (event.clientY - from.clientY) / 150);
        from = event;
      }
    });
    ["pointerup", "pointercancel"].forEach((name) => this.element.addEventListener(name, () => (from = null)));
    this.element.addEventListener("keydown", (event) => {
      const act = {
        ArrowLeft: () => this.turn(-0.1, 0),
        ArrowRight: () => this.turn(0.1, 0),
        ArrowUp: () => this.turn(0, 0.1),
        ArrowDown: () => this.turn(0, -0.1),
        "+": () => this.approach(0.85),
        "=": () => this.approach(0.85),
        "-": () => this.approach(1 / 0.85),
        0: () => this.lookAsAtFirst(),
      }[event.key];
      if (act && !event.ctrlKey && !event.altKey && !event.metaKey) {
        event.preventDefault();
        act();
        this.render();
      }
    });
  }

  turn(around, above) {
    this.around += around;
    this.above = Math.min(1.5, Math.max(-1.5, this.above + above));
    this.render();
  }

  approach(factor) {
    this.far = Math.min(4, Math.max(0.25, this.far * factor));
  }

  resize() {
    const { clientWidth, clientHeight } = this.element;
    if (clientWidth > 0 && clientHeight > 0) {
      this.renderer.setSize(clientWidth, clientHeight);
      this.camera.aspect = clientWidth / clientHeight;
      this.camera.updateProjectionMatrix();
      this.render();
    }
  }

  repaint() {
    for (const [material, colour] of this.painted) {
      material.color.set(korPage.colour(colour));
    }
    for (const { text, colour, canvas, sprite } of this.labels) {
      const context = canvas.getContext("2d");
      context.clearRect(0, 0, canvas.width, canvas.height);
      context.font = "600 44px system-ui, sans-serif";
      context.textAlign = "center";
      context.textBaseline = "middle";
      context.fillStyle = korPage.colour(colour);
      context.fillText(text, canvas.width / 2, canvas.height / 2);
      sprite.material.map.needsUpdate = true;
    }
    this.paint(); // at once, because printing does not wait
  }

  // At most once for each picture of the screen.
  render() {
    if (this.asked) {
      return;
    }
    this.asked = true;
    requestAnimationFrame(() => {
      this.asked = false;
      this.paint();
    });
  }

  paint() {
    const away = 7.2 * this.far * Math.max(1, 1.5 / this.camera.aspect);
    const level = away * Math.cos(this.above);
    this.camera.position.set(
      this.centre.x + level * Math.cos(this.around),
      this.centre.y + level * Math.sin(this.around),
      this.centre.z + away * Math.sin(this.above),
    );
    this.camera.lookAt(this.centre);
    this.renderer.render(this.scene, this.camera);
  }
};
