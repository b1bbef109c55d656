// The viewer of a report: 3D view, section, picking, layers. Everything it shows is in the page; without it the page is a
// sheet.
'use strict';
(() => {
  const one = (selector, near = document) => near.querySelector(selector);
  const all = (selector, near = document) => [...near.querySelectorAll(selector)];
  const byId = id => document.getElementById(id);

  // --- what the page carries (docs/report.md) ---------------------------------------------------------------

  async function bytesOf(block) {
    const text = atob(byId(block).textContent), bytes = new Uint8Array(text.length);
    for (let i = 0; i < bytes.length; ++i) bytes[i] = text.charCodeAt(i);
    const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('deflate'));
    return new Uint8Array(await new Response(stream).arrayBuffer());
  }

  function numbersOf(bytes) {
    let at = 0;
    const next = () => {
      let byte = bytes[at++], number = byte & 127;
      for (let weight = 128; byte > 127; weight *= 128) number += ((byte = bytes[at++]) & 127) * weight;
      return number;
    };
    const signed = () => { const n = next(); return n % 2 ? -(n + 1) / 2 : n / 2; };
    return {next, signed};
  }

  async function meshOf(mesh) {
    const {next, signed} = numbersOf(await bytesOf(mesh.block));
    const positions = new Uint16Array(3 * mesh.vertices), indices = new Uint32Array(3 * mesh.facets);
    for (let axis = 0; axis < 3; ++axis) {
      for (let i = axis, value = 0; i < positions.length; i += 3) positions[i] = value += signed();
    }
    for (let i = 0, seen = 0; i < indices.length; ++i) {
      const back = next();
      indices[i] = seen - back;
      if (back === 0) ++seen;
    }
    return {positions, indices};
  }

  // A list of {z, loops} with loops of x, y, x, y, ... in the report's unit.
  async function layersOf(layers) {
    const {next, signed} = numbersOf(await bytesOf(layers.block)), list = [];
    let z = 0, x = 0, y = 0;
    const sx = layers.size[0] / 65535, sy = layers.size[1] / 65535;
    for (let i = 0; i < layers.count; ++i) {
      const loops = [];
      z += signed();
      for (let left = next(); left > 0; --left) {
        const loop = new Float32Array(2 * next());
        for (let k = 0; k < loop.length; k += 2) {
          loop[k] = layers.min[0] + (x += signed()) * sx;
          loop[k + 1] = layers.min[1] + (y += signed()) * sy;
        }
        loops.push(loop);
      }
      list.push({z: z / 1e4, loops});
    }
    return list;
  }

  // --- colours ------------------------------------------------------------------------------------------------

  const dark = matchMedia('(prefers-color-scheme: dark)');
  const colour = name => getComputedStyle(document.documentElement).getPropertyValue('--' + name).trim();
  const length = value => Math.abs(value) >= 100 ? value.toFixed(1) : value.toFixed(Math.abs(value) >= 1 ? 2 : 3);
  const roundLength = most => {
    const power = 10 ** Math.floor(Math.log10(most));
    return power * (most >= 5 * power ? 5 : most >= 2 * power ? 2 : 1);
  };

  // --- the view in 3D ------------------------------------------------------------------------------------------

  const vertexShader = `
    varying vec3 seen; varying float height;
    void main() {
      vec4 at = modelViewMatrix * vec4(position, 1.0);
      seen = at.xyz;
      height = (modelMatrix * vec4(position, 1.0)).z;
      gl_Position = projectionMatrix * at;
    }`;
  // Flat facets: their normals come from the picture itself. What faces away is the inside: of one colour where a section
  // cuts, so that it looks solid; dark otherwise, as holes are.
  const shade = `
    uniform vec3 tint, inner; uniform float cut; varying vec3 seen; varying float height;
    void main() {
      if (height > cut) discard;
      vec3 normal = normalize(cross(dFdx(seen), dFdy(seen)));
      float light = 0.42 + 0.5 * max(dot(normal, normalize(vec3(-0.35, 0.6, 0.72))), 0.0) + 0.12 * normal.z;
      gl_FragColor = vec4(gl_FrontFacing ? tint * light : cut < 1e29 ? inner : tint * 0.4, 1.0);
    }`;
  const name = `
    uniform vec3 tint; uniform float cut; varying vec3 seen; varying float height;
    void main() {
      if (height > cut) discard;
      gl_FragColor = vec4(tint, 1.0);
    }`;

  class View {
    constructor(figure, scene) {
      this.figure = figure;
      this.data = scene;
      this.canvas = one('canvas', figure);
      // Several samples a pixel take most of the time where no graphics card helps.
      const facets = scene.pieces.reduce((sum, {mesh}) => sum + (mesh === null ? 0 : scene.meshes[mesh].facets), 0);
      this.renderer = new THREE.WebGLRenderer({canvas: this.canvas, antialias: facets < 200000, alpha: true, preserveDrawingBuffer: true});
      // Colours are those of the page.
      THREE.ColorManagement.enabled = false;
      this.renderer.outputColorSpace = THREE.LinearSRGBColorSpace;
      this.renderer.setPixelRatio(Math.min(devicePixelRatio, 2));
      this.world = new THREE.Scene();
      this.camera = new THREE.PerspectiveCamera(28, 4 / 3, 1, 1000);
      this.camera.up.set(0, 0, 1);
      this.cut = Infinity;
      this.chosen = -1;
      this.finding = -1;
      const {min, size} = scene.box;
      this.low = min[2];
      this.high = min[2] + size[2];
      this.sphere = new THREE.Sphere(new THREE.Vector3(...min.map((m, k) => m + size[k] / 2)),
                                     Math.max(Math.hypot(...size) / 2, 1e-6));
      this.controls = new THREE.OrbitControls(this.camera, this.canvas);
      this.controls.enableZoom = false;
      this.controls.addEventListener('change', () => this.draw());
      this.shaded = this.material(shade);
      this.named = this.material(name);
      this.named.blending = THREE.NoBlending;
      this.lines = [];
      this.addVat();
      this.pieces = [];
      this.marks = null;
      this.listen();
      this.resize();
      this.look('iso');
      this.paint();
    }

    material(fragmentShader) {
      return new THREE.ShaderMaterial({
        vertexShader, fragmentShader, side: THREE.DoubleSide,
        uniforms: {tint: {value: new THREE.Color()}, inner: {value: new THREE.Color()}, cut: {value: 1e30}},
      });
    }

    async load() {
      const shapes = [];
      for (const mesh of this.data.meshes) {
        const {positions, indices} = await meshOf(mesh), shape = new THREE.BufferGeometry();
        shape.setAttribute('position', new THREE.BufferAttribute(positions, 3, true));
        shape.setIndex(new THREE.BufferAttribute(indices, 1));
        shape.boundingSphere = new THREE.Sphere(new THREE.Vector3(0.5, 0.5, 0.5), 0.8661);
        shapes.push(shape);
      }
      this.data.pieces.forEach((piece, i) => {
        if (piece.mesh === null) { this.pieces.push(null); return; }
        const {min, size} = this.data.meshes[piece.mesh];
        const mesh = new THREE.Mesh(shapes[piece.mesh], this.shaded);
        mesh.matrixAutoUpdate = false;
        mesh.matrix.set(...piece.matrix, 0, 0, 0, 1);
        mesh.matrix.multiply(new THREE.Matrix4().set(size[0], 0, 0, min[0], 0, size[1], 0, min[1], 0, 0, size[2], min[2],
                                                     0, 0, 0, 1));
        mesh.userData.tint = new THREE.Color();
        mesh.userData.name = new THREE.Color(((i + 1) & 255) / 255, ((i + 1) >> 8 & 255) / 255, ((i + 1) >> 16 & 255) / 255);
        mesh.onBeforeRender = (renderer, scene, camera, geometry, material) => {
          material.uniforms.tint.value = material === this.named ? mesh.userData.name : mesh.userData.tint;
          material.uniformsNeedUpdate = true;
        };
        this.world.add(mesh);
        this.pieces.push(mesh);
      });
      this.paint();
    }

    addVat() {
      const {vat, box} = this.data, points = [];
      const size = vat || box.size, [x, y, z] = vat ? [0, 0, 0] : box.min;
      const grid = roundLength(Math.max(size[0], size[1], 1e-6) / 8);
      const rule = (to, along) => {
        for (let at = 0; at < to * (1 + 1e-9); at += grid) along(at);
        along(to);
      };
      rule(size[0], at => points.push(x + at, y, z, x + at, y + size[1], z));
      rule(size[1], at => points.push(x, y + at, z, x + size[0], y + at, z));
      all('[data-grid]', this.figure).forEach(e => { e.textContent = String(+grid.toPrecision(3)); });
      const shape = new THREE.BufferGeometry();
      shape.setAttribute('position', new THREE.BufferAttribute(new Float32Array(points), 3));
      const lines = new THREE.LineSegments(shape, new THREE.LineBasicMaterial());
      this.lines.push(lines);
      this.world.add(lines);
      const middle = new THREE.Vector3(x + size[0] / 2, y + size[1] / 2, z + size[2] / 2);
      this.reach = new THREE.Sphere(middle, Math.max(Math.hypot(...size) / 2,
                                                     middle.distanceTo(this.sphere.center) + this.sphere.radius));
    }

    // Colours of pieces, lines and marks; then draws.
    paint() {
      const tints = {piece: colour('piece'), chosen: colour('chosen'), error: colour('error')};
      const wrong = new Set(this.finding < 0 ? [] : this.data.findings[this.finding].pieces);
      this.pieces.forEach((mesh, i) => {
        if (mesh) mesh.userData.tint.set(wrong.has(i) ? tints.error : i === this.chosen ? tints.chosen : tints.piece);
      });
      this.shaded.uniforms.inner.value.set(colour('inner'));
      this.lines.forEach(lines => lines.material.color.set(colour('lines')));
      if (this.marks) this.marks.material.color.set(colour('error'));
      this.draw();
    }

    draw() {
      if (this.waiting) return;
      this.waiting = true;
      requestAnimationFrame(() => { this.waiting = false; this.drawNow(); });
    }

    drawNow() {
      const cut = Number.isFinite(this.cut) ? this.cut : 1e30;
      this.shaded.uniforms.cut.value = this.named.uniforms.cut.value = cut;
      const away = this.camera.position.distanceTo(this.reach.center);
      this.camera.near = Math.max(away - 1.01 * this.reach.radius, this.sphere.radius / 100);
      this.camera.far = away + 1.01 * this.reach.radius;
      this.camera.updateProjectionMatrix();
      this.renderer.render(this.world, this.camera);
      this.figure.dataset.drawn = String(+(this.figure.dataset.drawn || 0) + 1);
    }

    resize() {
      const {clientWidth, clientHeight} = this.canvas, size = `${clientWidth} ${clientHeight}`;
      if (!clientWidth || !clientHeight || size === this.size) return;
      this.size = size;
      this.renderer.setSize(clientWidth, clientHeight, false);
      this.camera.aspect = clientWidth / clientHeight;
      this.draw();
    }

    look(from) {
      const [x, y, z] = {iso: [-0.5, -1, 0.75], top: [0, -0.0001, 1], front: [0, -1, 0], left: [-1, 0, 0]}[from];
      const direction = new THREE.Vector3(x, y, z).normalize();
      const narrow = Math.min(1, this.camera.aspect || 1), angle = this.camera.fov * Math.PI / 360;
      this.controls.target.copy(this.sphere.center);
      this.camera.position.copy(this.sphere.center).addScaledVector(direction, this.sphere.radius * 1.02 / Math.sin(angle) / narrow);
      this.controls.update();
      this.draw();
    }

    turn(right, up) {
      const offset = this.camera.position.clone().sub(this.controls.target), radius = offset.length();
      const around = Math.atan2(offset.y, offset.x) + right, flat = Math.hypot(offset.x, offset.y);
      const rise = Math.max(-1.57, Math.min(1.57, Math.atan2(offset.z, flat) + up));
      offset.set(Math.cos(rise) * Math.cos(around), Math.cos(rise) * Math.sin(around), Math.sin(rise)).multiplyScalar(radius);
      this.camera.position.copy(this.controls.target).add(offset);
      this.controls.update();
      this.draw();
    }

    move(right, up) {
      const way = this.camera.position.distanceTo(this.controls.target) * 0.05, step = new THREE.Vector3();
      step.addScaledVector(new THREE.Vector3().setFromMatrixColumn(this.camera.matrix, 0), right * way);
      step.addScaledVector(new THREE.Vector3().setFromMatrixColumn(this.camera.matrix, 1), up * way);
      this.camera.position.add(step);
      this.controls.target.add(step);
      this.controls.update();
      this.draw();
    }

    zoom(factor) {
      this.camera.position.sub(this.controls.target).multiplyScalar(factor).add(this.controls.target);
      this.controls.update();
      this.draw();
    }

    setCut(height) {
      const slider = one('[data-cut]', this.figure);
      this.cut = height >= this.high ? Infinity : height;
      slider.value = String(Math.min(height, this.high));
      one('[data-cut-height]', this.figure).textContent =
          this.cut === Infinity ? 'whole' : `Z ${length(height)} ${this.data.units}`;
      this.draw();
    }

    row(piece) { return byId(`${this.data.id}-piece-${piece + 1}`); }

    // Chooses a piece, or none with -1. From the view its row comes into sight, from the row the piece.
    choose(piece, fromRow = false) {
      this.chosen = piece;
      this.finding = -1;
      this.showMarks([]);
      all('.findings .chosen').forEach(item => item.classList.remove('chosen'));
      this.data.pieces.forEach((_, i) => {
        const row = this.row(i);
        if (!row) return;
        row.classList.toggle('chosen', i === piece);
        one('[data-pick]', row).setAttribute('aria-pressed', String(i === piece));
      });
      const row = piece < 0 ? null : this.row(piece);
      one('.hint', this.figure).textContent = row ? one('[data-pick]', row).textContent : '';
      if (row && !fromRow) row.scrollIntoView({block: 'nearest'});
      if (row && fromRow) {
        this.show(piece, true);
        this.canvas.scrollIntoView({block: 'nearest'});
      }
      this.paint();
    }

    show(piece, shown) {
      if (this.pieces[piece]) this.pieces[piece].visible = shown;
      const row = this.row(piece);
      if (row) one('[data-show]', row).checked = shown;
      this.draw();
    }

    showMarks(points) {
      if (this.marks) this.world.remove(this.marks);
      this.marks = null;
      if (points.length === 0) return;
      const shape = new THREE.BufferGeometry();
      shape.setAttribute('position', new THREE.BufferAttribute(new Float32Array(points.flat()), 3));
      this.marks = new THREE.Points(shape, new THREE.PointsMaterial({size: 11, sizeAttenuation: false, depthTest: false}));
      this.marks.renderOrder = 1;
      this.world.add(this.marks);
    }

    // Shows where a finding is: its pieces in red, its places as points.
    go(finding) {
      this.choose(-1);
      this.finding = finding;
      const {pieces, points} = this.data.findings[finding];
      pieces.forEach(piece => this.show(piece, true));
      this.showMarks(points);
      byId(`${this.data.id}-finding-${finding + 1}`).classList.add('chosen');
      if (points.length > 0) {
        const to = new THREE.Vector3(...points[0]).sub(this.controls.target);
        this.camera.position.add(to);
        this.controls.target.add(to);
        this.controls.update();
      }
      this.canvas.scrollIntoView({block: 'nearest'});
      this.paint();
    }

    // The piece under a point of the canvas, by the colour that stands for it; -1: none.
    pieceAt(x, y) {
      const {clientWidth, clientHeight} = this.canvas, target = new THREE.WebGLRenderTarget(1, 1);
      const draw = material => this.pieces.forEach(mesh => { if (mesh) mesh.material = material; });
      const others = [...this.lines, ...this.marks ? [this.marks] : []];
      others.forEach(other => { other.visible = false; });
      draw(this.named);
      this.camera.setViewOffset(clientWidth, clientHeight, x, y, 1, 1);
      this.renderer.setRenderTarget(target);
      this.renderer.setClearColor(0, 0);
      this.renderer.clear();
      this.renderer.render(this.world, this.camera);
      const pixel = new Uint8Array(4);
      this.renderer.readRenderTargetPixels(target, 0, 0, 1, 1, pixel);
      this.renderer.setRenderTarget(null);
      this.camera.clearViewOffset();
      draw(this.shaded);
      others.forEach(other => { other.visible = true; });
      target.dispose();
      return pixel[3] === 0 ? -1 : pixel[0] + 256 * pixel[1] + 65536 * pixel[2] - 1;
    }

    listen() {
      const {canvas, figure} = this;
      new ResizeObserver(() => this.resize()).observe(canvas);
      // The wheel scrolls the page until the view is meant.
      canvas.addEventListener('focus', () => { this.controls.enableZoom = true; });
      canvas.addEventListener('blur', () => { this.controls.enableZoom = false; });
      let down = null;
      canvas.addEventListener('pointerdown', event => { canvas.focus(); down = [event.clientX, event.clientY]; });
      canvas.addEventListener('pointerup', event => {
        if (!down || Math.hypot(event.clientX - down[0], event.clientY - down[1]) > 4 || event.button !== 0) return;
        this.choose(this.pieceAt(event.offsetX, event.offsetY));
      });
      const step = (this.high - this.low) / 50;
      const next = way => {
        const shown = this.pieces.map((mesh, i) => mesh ? i : -1).filter(i => i >= 0);
        if (shown.length === 0) return;
        const at = shown.indexOf(this.chosen);
        this.choose(shown[at < 0 ? (way > 0 ? 0 : shown.length - 1) : (at + way + shown.length) % shown.length]);
      };
      const keys = {
        ArrowLeft: e => e.shiftKey ? this.move(-1, 0) : this.turn(-0.1, 0),
        ArrowRight: e => e.shiftKey ? this.move(1, 0) : this.turn(0.1, 0),
        ArrowUp: e => e.shiftKey ? this.move(0, 1) : this.turn(0, 0.1),
        ArrowDown: e => e.shiftKey ? this.move(0, -1) : this.turn(0, -0.1),
        '+': () => this.zoom(0.9), '=': () => this.zoom(0.9), '-': () => this.zoom(1 / 0.9),
        PageDown: () => this.setCut(Math.max(this.low, Math.min(this.cut, this.high) - step)),
        PageUp: () => this.setCut(Math.min(this.cut, this.high) + step),
        Home: () => { this.setCut(this.high); this.look('iso'); },
        n: () => next(1), p: () => next(-1),
        h: () => { if (this.chosen >= 0 && this.pieces[this.chosen]) this.show(this.chosen, !this.pieces[this.chosen].visible); },
        Escape: () => this.choose(-1),
      };
      canvas.addEventListener('keydown', event => {
        const act = keys[event.key.length === 1 ? event.key.toLowerCase() : event.key];
        if (!act || event.ctrlKey || event.metaKey || event.altKey) return;
        event.preventDefault();
        act(event);
      });
      const slider = one('[data-cut]', figure);
      slider.addEventListener('input', () => this.setCut(+slider.value >= +slider.max ? this.high : +slider.value));
      all('[data-view]', figure).forEach(button => button.addEventListener('click', () => this.look(button.dataset.view)));
      this.data.pieces.forEach((_, i) => {
        const row = this.row(i);
        if (!row) return;
        one('[data-pick]', row).addEventListener('click', () => this.choose(this.chosen === i ? -1 : i, true));
        one('[data-show]', row).addEventListener('change', event => this.show(i, event.target.checked));
      });
      for (const section of ['plate', 'checks']) {
        all(`#${this.data.id}-${section} [data-go]`).forEach(button => {
          button.addEventListener('click', () => this.go(+button.dataset.go));
        });
      }
      dark.addEventListener('change', () => this.paint());
    }
  }

  // --- layers ------------------------------------------------------------------------------------------------------

  class Layers {
    constructor(figure, scene) {
      this.figure = figure;
      this.data = scene;
      this.canvas = one('canvas', figure);
      this.slider = one('[data-layer]', figure);
      this.slider.addEventListener('input', () => this.draw());
      new ResizeObserver(() => this.draw()).observe(this.canvas);
      dark.addEventListener('change', () => this.draw());
    }

    async load() {
      const pieces = await Promise.all(this.data.pieces.filter(piece => piece.layers).map(piece => layersOf(piece.layers)));
      this.loops = new Map();  // by height
      for (const layers of pieces) {
        for (const {z, loops} of layers) {
          const known = this.loops.get(z);
          if (known) known.push(...loops); else this.loops.set(z, [...loops]);
        }
      }
      this.heights = [...this.loops.keys()].sort((a, b) => a - b);
      this.slider.max = String(Math.max(1, this.heights.length));
      this.slider.value = String(Math.ceil(this.heights.length / 10) || 1);
      this.draw();
    }

    draw() {
      if (!this.heights) return;
      const {canvas, data} = this, at = +this.slider.value - 1, z = this.heights[at];
      const scale = Math.min(devicePixelRatio, 2);
      canvas.width = Math.max(1, canvas.clientWidth * scale);
      canvas.height = Math.max(1, canvas.clientHeight * scale);
      const min = data.vat ? [0, 0] : data.box.min, size = data.vat || data.box.size, room = 16 * scale;
      const pixels = Math.min((canvas.width - 2 * room) / (size[0] || 1), (canvas.height - 2 * room) / (size[1] || 1));
      const left = (canvas.width - pixels * size[0]) / 2, low = (canvas.height + pixels * size[1]) / 2;
      const pen = canvas.getContext('2d');
      pen.lineWidth = scale;
      pen.strokeStyle = colour('lines');
      pen.strokeRect(left, low - pixels * size[1], pixels * size[0], pixels * size[1]);
      pen.beginPath();
      for (const loop of this.loops.get(z) || []) {
        for (let k = 0; k < loop.length; k += 2) {
          const x = left + (loop[k] - min[0]) * pixels, y = low - (loop[k + 1] - min[1]) * pixels;
          if (k === 0) pen.moveTo(x, y); else pen.lineTo(x, y);
        }
        pen.closePath();
      }
      pen.fillStyle = colour('piece');
      pen.fill();
      pen.strokeStyle = colour('accent');
      pen.stroke();
      one('[data-layer-height]', this.figure).textContent =
          z === undefined ? 'none' : `${at + 1} of ${this.heights.length}, Z ${length(z)} ${data.units}`;
      this.figure.dataset.drawn = String(+(this.figure.dataset.drawn || 0) + 1);
    }
  }

  // --- the page ------------------------------------------------------------------------------------------------------

  const hasWebGL = () => {
    try {
      return Boolean(document.createElement('canvas').getContext('webgl2'));
    } catch (error) {
      return false;
    }
  };

  const scenes = new Map(all('script.scene').map(block => [block.id, JSON.parse(block.textContent)]));
  const works = typeof DecompressionStream === 'function';
  const views = all('figure.view'), stacks = all('figure.layers');
  if (works && (views.length === 0 || hasWebGL())) document.documentElement.classList.add('on');
  // A view is made when it comes into sight: browsers hold few of them.
  const begin = (figure, make) => {
    const watch = new IntersectionObserver(async entries => {
      if (!entries.some(entry => entry.isIntersecting)) return;
      watch.disconnect();
      const shown = make();
      await shown.load();
      figure.dataset.ready = 'yes';
      figure.dispatchEvent(new CustomEvent('ready', {detail: shown}));
    }, {rootMargin: '200px'});
    watch.observe(figure);
  };
  if (document.documentElement.classList.contains('on')) {
    views.forEach(figure => begin(figure, () => new View(figure, scenes.get(figure.dataset.scene))));
    stacks.forEach(figure => begin(figure, () => new Layers(figure, scenes.get(figure.dataset.layers))));
  }
})();
